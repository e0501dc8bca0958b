#pragma once
// The telemetry client's configuration, shared by the manager, the signal manager and everything
// that reads it. Fields that may change while signals flow (the session, the default user, the
// prefixes, the switches) are read and written from any thread: atomics, or values under a lock.
//
// Setting sessionID starts a new session: the session statistics begin anew (when
// sessionStatsEnabled) and "TelemetryDeck.Session.started" is sent (when sendNewSessionBeganSignal).

#include "TelemetryDeck/LogHandler.h"
#include "TelemetryDeck/SignalPostBody.h"

#include <QMutex>
#include <QUrl>
#include <QUuid>
#include <atomic>
#include <functional>
#include <memory>
#include <optional>

// Adds parameters to every signal, called on the worker with the signal's name, the custom user
// and the number.
class SignalEnricher {
public:
    virtual ~SignalEnricher() = default;
    virtual TelemetryDeck::Parameters enrich(const QString &signalType, const std::optional<QString> &customUserID,
                                             std::optional<double> floatValue) = 0;
};

// A value read and written from several threads.
template <typename T>
class Locked {
public:
    Locked() = default;
    explicit Locked(T value) : m_value(std::move(value)) {}
    T get() const
    {
        const QMutexLocker lock(&m_mutex);
        return m_value;
    }
    void set(T value)
    {
        const QMutexLocker lock(&m_mutex);
        m_value = std::move(value);
    }

private:
    mutable QMutex m_mutex;
    T m_value{};
};

class TelemetryManagerConfiguration {
public:
    // The HTTPS root of the ingestion service.
    static QUrl defaultBaseURL();

    explicit TelemetryManagerConfiguration(QString appID, std::optional<QString> salt = {},
                                           std::optional<QUrl> baseURL = {}, std::optional<QString> namespaceName = {});

    const QString telemetryAppID;
    const QUrl apiBaseURL;
    // When set and not empty, requests go to "/v2/namespace/<name>/".
    const std::optional<QString> namespaceName;
    const QString salt;

    Locked<std::optional<QString>> defaultUser;
    Locked<std::optional<QString>> defaultSignalPrefix;
    Locked<std::optional<QString>> defaultParameterPrefix;
    // Called once for each signal that passes the gates, on the thread that sends it.
    Locked<std::function<TelemetryDeck::Parameters()>> defaultParameters{[] { return TelemetryDeck::Parameters(); }};
    std::atomic<bool> sendNewSessionBeganSignal{true};
    std::atomic<bool> sendSignalsInDebugConfiguration{false};
    Locked<std::optional<bool>> testModeOverride; // the stored test mode; testMode() reads false when unset
    Locked<std::optional<bool>> previewModeOverride;
    std::atomic<bool> analyticsDisabled{false};
    std::atomic<bool> reservedParameterWarningsEnabled{true};
    std::atomic<bool> sessionStatsEnabled{true};
    std::atomic<bool> showDebugLogs{false};
    Locked<std::optional<LogHandler>> logHandler{LogHandler::standard(LogHandler::LogLevel::info)};
    Locked<QList<std::shared_ptr<SignalEnricher>>> metadataEnrichers;
    // The folder of the signal cache file: the application's cache folder unless set.
    Locked<QString> cacheDirectory;

    bool testMode() const { return testModeOverride.get().value_or(false); }
    // The stored override, else whether XCODE_RUNNING_FOR_PREVIEWS is "1" (read anew each time).
    bool swiftUIPreviewMode() const;

    QUuid sessionID() const;
    // Stores the session and starts it (see above).
    void setSessionID(QUuid sessionID);

    // What a new session sets off; installed by the manager that uses this configuration. A
    // manager that ends removes its own handler only, not a newer manager's.
    void setSessionStartHandler(const void *owner, std::function<void()> handler);
    void removeSessionStartHandler(const void *owner);

    // The file of the signal cache.
    QString cacheFilePath() const;

private:
    mutable QMutex m_sessionMutex;
    QUuid m_sessionID;
    std::function<void()> m_sessionStartHandler;
    const void *m_sessionStartHandlerOwner = nullptr;
};
