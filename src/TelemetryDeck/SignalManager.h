#pragma once
// Turns telemetry calls into records, queues them and sends them.
//
// A call costs its caller one posted event. On the main thread the default user and the default
// payload are read (the payload looks at state that lives there); on the worker the parameters are
// merged, the user hashed and the record queued. Every 10 seconds (and once at construction, so a
// previous run's signals leave at once) the first 100 records are posted in one request. The queue
// is written to the cache file when the application quits and read back by the next run.
//
// Made, used and destroyed on the main thread; processSignal and the send cycle may be called
// from any thread.

#include "TelemetryDeck/SignalCache.h"
#include "TelemetryDeck/TelemetryManagerConfiguration.h"

#include <QObject>
#include <memory>

class ScheduledCall;
class SignalTransport;

class SignalManager : public QObject {
public:
    // What the main thread's step reads; the manager provides both.
    struct Sources {
        std::function<QString()> defaultUserIdentifier;
        std::function<TelemetryDeck::Parameters()> defaultPayload;
    };

    static constexpr double sendInterval = 10.0;

    SignalManager(std::shared_ptr<TelemetryManagerConfiguration> configuration, Sources sources);
    ~SignalManager() override;

    void processSignal(const QString &signalType, const TelemetryDeck::Parameters &parameters,
                       std::optional<double> floatValue, const std::optional<QString> &customUserID,
                       std::shared_ptr<TelemetryManagerConfiguration> configuration);
    // One send cycle: takes the head of the queue and posts it.
    void attemptToSendNextBatchOfCachedSignals();
    // The application quits: the signals still on their way are queued, then the queue is saved.
    // Only the first call saves.
    void appWillTerminate();
    // Consent withdrawn: no more sends, the queue and its file are gone, nothing is saved at quit.
    void stopAndDiscard();

    SignalCache &signalCache() { return *m_cache; }

private:
    void log(LogHandler::LogLevel level, const QString &message) const;

    std::shared_ptr<TelemetryManagerConfiguration> m_configuration;
    Sources m_sources;
    std::shared_ptr<SignalCache> m_cache;
    std::shared_ptr<SignalTransport> m_transport;
    std::unique_ptr<ScheduledCall> m_sendTimer;
    QMetaObject::Connection m_quitConnection;
    bool m_saved = false;
};
