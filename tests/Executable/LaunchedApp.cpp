#include "LaunchedApp.h"

#include <QCoreApplication>
#include <QDBusConnectionInterface>
#include <QDir>
#include <QElapsedTimer>

namespace {
const QString busName = QStringLiteral("lumevar-test-bus");
}

LaunchedApp::LaunchedApp() { QDir().mkpath(libraryFolder()); }

LaunchedApp::~LaunchedApp()
{
    for (auto &app : m_apps) {
        if (app->state() != QProcess::NotRunning) {
            app->kill();
            app->waitForFinished(5000);
        }
    }
    QDBusConnection::disconnectFromBus(busName);
    if (m_busDaemon.state() != QProcess::NotRunning) {
        m_busDaemon.kill();
        m_busDaemon.waitForFinished(5000);
    }
}

bool LaunchedApp::startBus()
{
    m_busDaemon.start(QStringLiteral("dbus-daemon"), {QStringLiteral("--session"), QStringLiteral("--nofork"),
                                                      QStringLiteral("--nopidfile"), QStringLiteral("--print-address=1")});
    if (!m_busDaemon.waitForStarted(5000) || !m_busDaemon.waitForReadyRead(5000))
        return false;
    m_busAddress = QString::fromUtf8(m_busDaemon.readLine()).trimmed();
    return !m_busAddress.isEmpty() && QDBusConnection::connectToBus(m_busAddress, busName).isConnected();
}

QDBusConnection LaunchedApp::bus() const { return QDBusConnection(busName); }

void LaunchedApp::dropBus() { m_busAddress.clear(); }

QProcess &LaunchedApp::launch(const QStringList &extraArguments)
{
    auto process = std::make_unique<QProcess>();
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("HOME"), home());
    env.insert(QStringLiteral("XDG_CONFIG_HOME"), m_home.filePath(QStringLiteral("config")));
    env.insert(QStringLiteral("XDG_DATA_HOME"), m_home.filePath(QStringLiteral("data")));
    env.insert(QStringLiteral("XDG_CACHE_HOME"), m_home.filePath(QStringLiteral("cache")));
    env.insert(QStringLiteral("XDG_RUNTIME_DIR"), m_home.filePath(QStringLiteral("run")));
    QDir().mkpath(m_home.filePath(QStringLiteral("run")));
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    // No bus at all when there is none of the test's own: never the desktop's.
    env.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"),
               m_busAddress.isEmpty() ? QStringLiteral("unix:path=") + m_home.filePath(QStringLiteral("no-bus")) : m_busAddress);
    env.insert(m_environment);
    process->setProcessEnvironment(env);
    process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process->start(QStringLiteral(LUMEVAR_EXECUTABLE),
                   QStringList{QStringLiteral("--library"), libraryFolder(), QStringLiteral("--audio-output"),
                               QStringLiteral("null")} +
                       extraArguments);
    m_apps.push_back(std::move(process));
    return *m_apps.back();
}

bool LaunchedApp::waitFor(const std::function<bool()> &condition, int timeoutMs)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > timeoutMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    }
    return true;
}
