#pragma once
// The wire side of a Subsonic-API server: one account, its requests in the JSON form, the way it
// signs in, and the errors it answers, turned into Lumevar's errors with words a user can act on.
//
// Signing in tries, in order: the OpenSubsonic API key when the account has one and the server
// offers it; the salted token (t = md5(password + salt), s = salt); the password form (p=enc:HEX)
// for servers that do not know tokens (they answer error 10, 41 or 30). The form that worked is
// kept for the rest of the session. At most maxInFlight requests run at once, the others wait
// their turn; each has a time-out. Redirects are not followed: a redirecting address is reported.

#include <QCoroTask>
#include <QJsonObject>
#include <QObject>
#include <QSet>
#include <QUrl>
#include <QUrlQuery>
#include <coroutine>
#include <deque>
#include <functional>

class QNetworkAccessManager;

struct SubsonicAccount {
    QUrl server;      // the server's root, e.g. https://music.example.org (the API is under /rest/)
    QString user;
    QString password; // never written anywhere; only hashed or hex-encoded into requests
    QString apiKey;   // an OpenSubsonic API key, used instead of the user and password when set
    // The address was given without a scheme and made https://: a server on this machine or the
    // local network that does not speak HTTPS is then reached over plain HTTP (see signIn()).
    bool httpsAssumed = false;
};

class SubsonicClient : public QObject {
    Q_OBJECT

public:
    enum class AuthForm { token, password, apiKey };

    explicit SubsonicClient(SubsonicAccount account, QObject *parent = nullptr);
    ~SubsonicClient() override;

    // The address the user typed, made a server root: "host[:port]" becomes https://host[:port];
    // a trailing "/rest" or "/" is dropped. Invalid when nothing usable is left.
    static QUrl normalizedServer(const QString &typed);
    // The account of a typed address, its httpsAssumed set when the address names no scheme.
    static SubsonicAccount typedAccount(const QString &typedAddress, QString user, QString password = {});
    // Plain HTTP is allowed only to this machine and the local network.
    static bool isLocalHost(const QString &host);

    const SubsonicAccount &account() const { return m_account; }
    AuthForm authForm() const { return m_form; }
    // The server's API version and whether it speaks the OpenSubsonic extensions, known after
    // signIn().
    const QString &serverVersion() const { return m_serverVersion; }
    bool isOpenSubsonic() const { return m_openSubsonic; }

    // Checks the server and the credentials (ping), choosing the form of signing in. An address
    // whose https:// was assumed, on the local network, that gets no TLS answer within a few
    // seconds is tried again over http://; account() then names the address reached. Throws
    // MusicError::notAuthorized for refused credentials, URLError for an unreachable server,
    // MusicError::serviceFailed for something that is not a Subsonic server.
    QCoro::Task<void> signIn();

    // Reads the "subsonic-response" object of a successful answer where the answer is decoded:
    // on a worker thread for a big answer (a page of songs takes longer to decode and turn into
    // items than to fetch, and the main thread paints), on the calling thread for a small one.
    // It may use only what it holds itself.
    using Reader = std::function<void(const QJsonObject &response)>;

    // Calls a method ("getAlbum") with its parameters and hands the answer to read. Failures
    // throw as signIn() does; a server error reply throws MusicError (notFound for error 70);
    // what read throws arrives as itself.
    QCoro::Task<void> call(QString method, QUrlQuery parameters, Reader read);
    // The same, with a reader that takes the answer straight from its text first, on the same
    // worker: it returns false for an answer it does not take (an error reply, malformed JSON),
    // which then goes through read and fails exactly as it would there.
    using TextReader = std::function<bool(QByteArrayView body)>;
    QCoro::Task<void> call(QString method, QUrlQuery parameters, Reader read, TextReader readText);
    // The same, returning the "subsonic-response" object.
    QCoro::Task<QJsonObject> call(QString method, QUrlQuery parameters = {});

    // The URL of a method with the credentials in it, for a reader that cannot add them itself
    // (the audio engine's stream, a cover download). Never to be logged or shown.
    QUrl signedURL(const QString &method, const QUrlQuery &parameters) const;
    // The same URL without credentials: what may be stored, shown or logged.
    QUrl unsignedURL(const QString &method, const QUrlQuery &parameters) const;
    // A URL made by unsignedURL() with the credentials added; any other URL as it is.
    QUrl signURL(const QUrl &url) const;
    // The URL without anything that signs a request (user info, u, p, t, s, apiKey), for a link
    // handed to others.
    static QUrl withoutCredentials(const QUrl &url);

    void setMaxInFlight(int count) { m_maxInFlight = count; }
    void setTimeoutMilliseconds(int milliseconds) { m_timeoutMilliseconds = milliseconds; }
    // Requests sent since the client was made (benchmarks report them).
    int requestCount() const { return m_requestCount; }

private:
    void endTurn();
    QUrlQuery credentials(AuthForm form) const;
    // probeTls: the request finds out whether the server speaks TLS, with a short time-out, and
    // throws NoTlsAnswer when it does not.
    QCoro::Task<void> send(QString method, QUrlQuery parameters, AuthForm form, Reader read, TextReader readText,
                           bool probeTls = false);

    SubsonicAccount m_account;
    QNetworkAccessManager *m_network;
    AuthForm m_form = AuthForm::token;
    QString m_serverVersion;
    bool m_openSubsonic = false;
    int m_maxInFlight = 6;
    int m_inFlight = 0;
    std::deque<std::coroutine_handle<>> m_waiting;
    int m_timeoutMilliseconds = 30000;
    int m_requestCount = 0;
};
