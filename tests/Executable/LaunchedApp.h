#pragma once
// Starts the real lumevar executable in a home folder of the test's own, on a private session bus,
// offscreen and silent, and waits for what it does.

#include <QDBusConnection>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>
#include <functional>
#include <memory>
#include <vector>

class LaunchedApp {
public:
    LaunchedApp();
    ~LaunchedApp();

    // A session bus of the test's own for the processes started after this call.
    bool startBus();
    QDBusConnection bus() const;
    // The processes started after this call see no session bus.
    void dropBus();

    QString home() const { return m_home.path(); }
    QString libraryFolder() const { return m_home.filePath(QStringLiteral("Music")); }
    // Where the store and the profile's lock live, the settings file, and the cache.
    QString profileFolder() const { return m_home.filePath(QStringLiteral("data/Lumevar")); }
    QString settingsFile() const { return m_home.filePath(QStringLiteral("config/Lumevar/Lumevar.conf")); }
    QString cacheFolder() const { return m_home.filePath(QStringLiteral("cache/Lumevar")); }
    // A variable of the environment of the processes started after this call.
    void setEnvironment(const QString &name, const QString &value) { m_environment.insert(name, value); }

    // Starts lumevar on the library folder; the process is ended with the fixture.
    QProcess &launch(const QStringList &extraArguments = {});

    // Turns the event loop until the condition holds or the time is up; whether it held.
    static bool waitFor(const std::function<bool()> &condition, int timeoutMs);

private:
    QTemporaryDir m_home;
    QProcess m_busDaemon;
    QString m_busAddress;
    QProcessEnvironment m_environment;
    std::vector<std::unique_ptr<QProcess>> m_apps;
};
