#pragma once
// The process's telemetry manager: the configuration in use, the signal manager that queues and
// sends, the session statistics, and the client's own settings file (the "custom defaults": a
// suite named after the app identifier's hash, holding the default user identifier and the
// session history). The application reaches it through the TelemetryDeck facade.
//
// Construction sends whatever the previous run left in the cache file, starts the 10-second send
// timer, and half a second later starts the first session ("TelemetryDeck.Session.started").
//
// Made and destroyed on the main thread (the last reference dropped elsewhere hands the deletion
// to it); its operations may be called from any thread.

#include "TelemetryDeck/TelemetryManagerConfiguration.h"

#include <QObject>
#include <memory>

class ScheduledCall;
class SessionManager;
class SignalManager;
class UserDefaults;

class TelemetryManager : public QObject {
public:
    static constexpr double sessionStartDelay = 0.5;
    static constexpr double immediateSyncInterval = 10.0;
    static constexpr double backgroundSessionTimeout = 300.0;

    explicit TelemetryManager(std::shared_ptr<TelemetryManagerConfiguration> configuration);
    // Saves what is still queued to the cache file, unless the signals were discarded.
    ~TelemetryManager() override;

    // The stored manager: replaced by initialize, cleared by terminate.
    static void initialize(std::shared_ptr<TelemetryManagerConfiguration> configuration);
    static void terminate();
    static bool isInitialized();
    // The stored manager, or null: a signal sent before initialize is dropped.
    static std::shared_ptr<TelemetryManager> shared();

    // "com.telemetrydeck." and the last 12 hexadecimal digits of the app identifier's SHA-256.
    static QString customDefaultsSuiteName(const QString &appID);

    std::shared_ptr<TelemetryManagerConfiguration> configuration() const { return m_configuration; }
    SignalManager &signalManager() { return *m_signalManager; }
    SessionManager &sessionManager() { return *m_sessionManager; }
    UserDefaults &customDefaults() { return *m_customDefaults; }

    // The configured default user, else the stored one, else a new random one, stored. Main thread.
    QString defaultUserIdentifier();
    QString hashedDefaultUser();
    void updateDefaultUser(std::optional<QString> user);
    void generateNewSession();
    // Sends the next batch 50 ms from now, at most once every 10 seconds.
    void requestImmediateSync();
    void willEnterForeground();
    void didEnterBackground();
    // Consent withdrawn: every later signal is dropped, the queue and its file are gone, the
    // timers stop, and nothing is saved at quit.
    void stopAndDiscard();

private:
    void startSession();

    std::shared_ptr<TelemetryManagerConfiguration> m_configuration;
    std::unique_ptr<UserDefaults> m_customDefaults;
    std::unique_ptr<SessionManager> m_sessionManager;
    std::unique_ptr<SignalManager> m_signalManager;
    std::unique_ptr<ScheduledCall> m_firstSession;
    QMutex m_datesMutex;
    double m_lastTimeImmediateSyncRequested = -1e18; // the distant past
    double m_lastDateAppEnteredBackground = -1e18;
    bool m_discarded = false;
};
