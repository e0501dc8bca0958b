#include "SupysonicServer.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>

QString SupysonicServer::missingReason()
{
    for (const char *program : {"supysonic-cli", "supysonic-server"})
        if (QStandardPaths::findExecutable(QString::fromLatin1(program)).isEmpty())
            return QStringLiteral("%1 is not installed (scripts/setup.sh installs supysonic and python3-waitress)")
                .arg(QString::fromLatin1(program));
    return {};
}

SupysonicServer::~SupysonicServer() { stop(); }

SupysonicServer *SupysonicServer::shared(QString *why, const Fill &fill)
{
    static QTemporaryDir music;
    static SupysonicServer server;
    static const QString failure = [&] {
        if (QString missing = missingReason(); !missing.isEmpty())
            return missing;
        QString error;
        if (fill && !fill(music.path(), &error))
            return error.isEmpty() ? QStringLiteral("could not prepare the music folder") : error;
        return server.start(music.path(), &error) ? QString() : error;
    }();
    *why = failure;
    return failure.isEmpty() ? &server : nullptr;
}

QUrl SupysonicServer::root() const { return QUrl(QStringLiteral("http://127.0.0.1:%1").arg(m_port)); }

bool SupysonicServer::cli(const QStringList &arguments, QString *error)
{
    QProcess process;
    process.setWorkingDirectory(m_dir.path());
    process.start(QStringLiteral("supysonic-cli"), arguments);
    if (!process.waitForFinished(60000) || process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        *error = QStringLiteral("supysonic-cli %1 failed: %2").arg(arguments.join(u' '), QString::fromUtf8(process.readAllStandardError()));
        return false;
    }
    return true;
}

bool SupysonicServer::start(const QString &musicFolder, QString *error)
{
    m_musicFolder = musicFolder;
    if (!m_dir.isValid()) {
        *error = QStringLiteral("no temporary folder");
        return false;
    }
    QFile config(m_dir.filePath(QStringLiteral("supysonic.conf")));
    if (!config.open(QIODevice::WriteOnly)) {
        *error = config.errorString();
        return false;
    }
    config.write(QStringLiteral("[base]\ndatabase_uri = sqlite:///%1\n[webapp]\ncache_dir = %2\nlog_level = WARNING\n"
                                "[daemon]\nsocket = %3\nrun_watcher = no\n")
                     .arg(m_dir.filePath(QStringLiteral("supysonic.db")), m_dir.filePath(QStringLiteral("cache")),
                          m_dir.filePath(QStringLiteral("daemon.sock")))
                     .toUtf8());
    config.close();
    return cli({QStringLiteral("user"), QStringLiteral("add"), user, QStringLiteral("-p"), password}, error) &&
           cli({QStringLiteral("folder"), QStringLiteral("add"), QStringLiteral("music"), musicFolder}, error) && scan(error) &&
           launch(error);
}

bool SupysonicServer::scan(QString *error)
{
    return cli({QStringLiteral("folder"), QStringLiteral("scan"), QStringLiteral("music")}, error);
}

bool SupysonicServer::launch(QString *error)
{
    {
        QTcpServer probe;
        probe.listen(QHostAddress::LocalHost);
        m_port = probe.serverPort();
    }
    m_server.setWorkingDirectory(m_dir.path());
    m_server.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_server.start(QStringLiteral("supysonic-server"), {QStringLiteral("-S"), QStringLiteral("waitress"), QStringLiteral("-h"),
                                                         QStringLiteral("127.0.0.1"), QStringLiteral("-p"), QString::number(m_port)});
    if (!m_server.waitForStarted(10000)) {
        *error = QStringLiteral("supysonic-server did not start: ") + m_server.errorString();
        return false;
    }
    const QDeadlineTimer deadline(30000);
    while (!deadline.hasExpired() && m_server.state() == QProcess::Running) {
        QTcpSocket socket;
        socket.connectToHost(QHostAddress::LocalHost, m_port);
        if (socket.waitForConnected(200))
            return true;
        QThread::msleep(100);
    }
    *error = QStringLiteral("supysonic-server did not listen on port %1").arg(m_port);
    stop();
    return false;
}

void SupysonicServer::stop()
{
    if (m_server.state() == QProcess::NotRunning)
        return;
    m_server.terminate();
    if (!m_server.waitForFinished(5000)) {
        m_server.kill();
        m_server.waitForFinished(2000);
    }
}
