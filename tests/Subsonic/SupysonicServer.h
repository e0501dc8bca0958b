#pragma once
// A real Subsonic-API server for tests: Debian's supysonic on a free loopback port, over a music
// folder, with the user "alice" (password "secret"). Configured in a temporary folder of its own
// (supysonic reads supysonic.conf from its working directory).

#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>
#include <QUrl>
#include <functional>

class SupysonicServer {
public:
    static inline const QString user = QStringLiteral("alice");
    static inline const QString password = QStringLiteral("secret");

    // Why no server can be started here (supysonic not installed), or empty.
    static QString missingReason();

    // The program's one server (starting one costs seconds), started at the first call over a
    // music folder of its own that fill prepares (empty without it). nullptr when none runs here,
    // with why saying why.
    using Fill = std::function<bool(const QString &folder, QString *error)>;
    static SupysonicServer *shared(QString *why, const Fill &fill = {});

    ~SupysonicServer();

    // Adds the user and the folder, scans it, starts the server and waits until it accepts
    // connections. On failure error says why.
    bool start(const QString &musicFolder, QString *error);
    // Scans the folder again, as the server's own scanner would after a change.
    bool scan(QString *error);
    void stop();
    bool isRunning() const { return m_server.state() == QProcess::Running; }
    QUrl root() const;
    const QString &musicFolder() const { return m_musicFolder; }

private:
    bool cli(const QStringList &arguments, QString *error);
    bool launch(QString *error);

    QTemporaryDir m_dir;
    QProcess m_server;
    quint16 m_port = 0;
    QString m_musicFolder;
};
