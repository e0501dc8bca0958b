#include "TelemetryDeck/SignalManager.h"

#include "Support/Clock.h"
#include "TelemetryDeck/SignalTransport.h"
#include "TelemetryDeck/UtilityQueue.h"

#include <QCoreApplication>

namespace {

// The worker's step: the record as the service receives it.
SignalPostBody makeRecord(const QString &signalType, const TelemetryDeck::Parameters &parameters,
                          std::optional<double> floatValue, const std::optional<QString> &customUserID,
                          const TelemetryManagerConfiguration &configuration, TelemetryDeck::Parameters payload,
                          const QString &defaultUser, double receivedAt)
{
    TelemetryDeck::Parameters enriched;
    for (const auto &enricher : configuration.metadataEnrichers.get())
        enriched.insert(enricher->enrich(signalType, customUserID, floatValue));
    payload.insert(enriched);
    payload.insert(parameters);
    return SignalPostBody{
        receivedAt,
        configuration.telemetryAppID,
        clientUserHash(customUserID.value_or(defaultUser), configuration.salt),
        configuration.sessionID().toString(QUuid::WithoutBraces).toUpper(),
        signalType,
        floatValue,
        std::move(payload),
        configuration.testMode() ? QStringLiteral("true") : QStringLiteral("false"),
    };
}

QString debugText(const SignalPostBody &record)
{
    return QStringLiteral("%1 %2 session %3 (%4 parameters)")
        .arg(record.type, SignalPostBody::wireDate(record.receivedAt), record.sessionID)
        .arg(record.payload.size());
}

} // namespace

SignalManager::SignalManager(std::shared_ptr<TelemetryManagerConfiguration> configuration, Sources sources)
    : m_configuration(std::move(configuration)), m_sources(std::move(sources)),
      m_transport(std::make_shared<SignalTransport>())
{
    m_cache = std::make_shared<SignalCache>(
        m_configuration->cacheFilePath(),
        m_configuration->swiftUIPreviewMode() ? std::nullopt : m_configuration->logHandler.get());
    if (auto *application = QCoreApplication::instance())
        m_quitConnection = connect(application, &QCoreApplication::aboutToQuit, this, &SignalManager::appWillTerminate);
    attemptToSendNextBatchOfCachedSignals();
    m_sendTimer = Clock::shared().schedule(sendInterval, [this] { attemptToSendNextBatchOfCachedSignals(); }, sendInterval);
}

SignalManager::~SignalManager()
{
    m_sendTimer.reset();
    // The transport and its network objects belong to the worker and end there.
    UtilityQueue::post([transport = std::move(m_transport)]() mutable { transport.reset(); });
}

void SignalManager::log(LogHandler::LogLevel level, const QString &message) const
{
    if (const auto handler = m_configuration->logHandler.get())
        handler->log(level, message);
}

void SignalManager::processSignal(const QString &signalType, const TelemetryDeck::Parameters &parameters,
                                  std::optional<double> floatValue, const std::optional<QString> &customUserID,
                                  std::shared_ptr<TelemetryManagerConfiguration> configuration)
{
    QMetaObject::invokeMethod(
        this,
        [this, signalType, parameters, floatValue, customUserID, configuration = std::move(configuration)] {
            // The main thread's share: the user and the default payload.
            const QString defaultUser = m_sources.defaultUserIdentifier ? m_sources.defaultUserIdentifier() : QString();
            TelemetryDeck::Parameters payload = m_sources.defaultPayload ? m_sources.defaultPayload()
                                                                         : TelemetryDeck::Parameters();
            const double receivedAt = Clock::shared().now();
            UtilityQueue::post([cache = m_cache, signalType, parameters, floatValue, customUserID, configuration,
                                payload = std::move(payload), defaultUser, receivedAt]() mutable {
                // Consent withdrawn while this signal was on its way: it goes no further.
                if (configuration->analyticsDisabled)
                    return;
                SignalPostBody record = makeRecord(signalType, parameters, floatValue, customUserID, *configuration,
                                                   std::move(payload), defaultUser, receivedAt);
                if (const auto handler = configuration->logHandler.get())
                    handler->log(LogHandler::LogLevel::debug, QStringLiteral("Process signal: ") + debugText(record));
                cache->pushSignal(std::move(record));
            });
        },
        Qt::QueuedConnection);
}

void SignalManager::attemptToSendNextBatchOfCachedSignals()
{
    log(LogHandler::LogLevel::debug, QStringLiteral("Current signal cache count: %1").arg(m_cache->signalCount()));
    QList<SignalPostBody> batch = m_cache->popBatch();
    if (batch.isEmpty())
        return;
    log(LogHandler::LogLevel::info, QStringLiteral("Sending %1 signals leaving a cache of %2 signals")
                                        .arg(batch.size())
                                        .arg(m_cache->signalCount()));
    UtilityQueue::post([transport = m_transport, batch = std::move(batch), configuration = m_configuration,
                        cache = m_cache]() mutable { transport->sendBatch(std::move(batch), *configuration, cache); });
}

void SignalManager::appWillTerminate()
{
    if (std::exchange(m_saved, true))
        return; // saved once already: the quit, then the manager's end
    log(LogHandler::LogLevel::debug, QStringLiteral("appWillTerminate()"));
    // Records still being built would otherwise miss the file.
    UtilityQueue::waitUntilIdle();
    m_cache->backupCache();
}

void SignalManager::stopAndDiscard()
{
    m_sendTimer.reset();
    disconnect(m_quitConnection);
    m_saved = true; // nothing is written at quit
    UtilityQueue::waitUntilIdle();
    m_cache->discardAll();
}
