#pragma once
// The one exception hierarchy of Lumevar. Every error carries what failure reporting needs:
// a domain, a code, a text for people and a text for developers.

#include <QString>
#include <exception>

class Error : public std::exception {
public:
    Error(QString domain, int code, QString localizedDescription, QString debugDescription = {});

    const QString &domain() const { return m_domain; }
    int code() const { return m_code; }
    const QString &localizedDescription() const { return m_localizedDescription; }
    // Defaults to "<domain>(<code>): <localized description>".
    const QString &debugDescription() const { return m_debugDescription; }

    const char *what() const noexcept override { return m_what.constData(); }

private:
    QString m_domain;
    int m_code;
    QString m_localizedDescription;
    QString m_debugDescription;
    QByteArray m_what;
};

// Thrown by cooperative cancellation checks (see Support/Task.h).
class CancellationError : public Error {
public:
    CancellationError();
};

// Network failures, with the codes of the platform's URL loading system.
class URLError : public Error {
public:
    enum Code {
        unknown = -1,
        cancelled = -999,
        badURL = -1000,
        timedOut = -1001,
        cannotFindHost = -1003,
        cannotConnectToHost = -1004,
        networkConnectionLost = -1005,
        notConnectedToInternet = -1009,
        badServerResponse = -1011,
        fileDoesNotExist = -1100,
    };
    explicit URLError(Code code, QString detail = {});
    Code urlCode() const { return static_cast<Code>(code()); }
};

// Malformed data from outside (JSON, archives). Its debug description always holds
// "DecodingError", which failure reporting keys on.
class DecodingError : public Error {
public:
    explicit DecodingError(QString detail);
};

// The collection whose songs were asked for is no longer loaded.
class PlaybackError : public Error {
public:
    enum Code { noSongs = 0 };
    explicit PlaybackError(Code code = noSongs);
};

// The local store could not be opened, read or written.
class StoreError : public Error {
public:
    enum Code { notOpen = 1, openFailed = 2, queryFailed = 3, migrationFailed = 4 };
    StoreError(Code code, QString detail);
};

// The music service or the player refused or failed an operation.
class MusicError : public Error {
public:
    enum Code { notAuthorized = 1, notFound = 2, unplayable = 3, serviceFailed = 4, emptyQueue = 5 };
    MusicError(Code code, QString detail);
};

// Inside a catch block: the exception in flight as an Error value (anything that is not an Error
// becomes a generic one), so that callers can hand it to failure reporting.
Error errorFromCurrentException();
