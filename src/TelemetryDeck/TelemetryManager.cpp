#include "TelemetryDeck/TelemetryManager.h"

#include "Support/Clock.h"
#include "Support/UserDefaults.h"
#include "TelemetryDeck/DefaultSignalPayload.h"
#include "TelemetryDeck/SessionManager.h"
#include "TelemetryDeck/SignalManager.h"
#include "TelemetryDeck/TelemetryDeck.h"
#include "TelemetryDeck/UtilityQueue.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QThread>

namespace {

QMutex storageMutex;
std::shared_ptr<TelemetryManager> storedManager;

// Managers end on the main thread, where their timers and objects live.
void destroyOnMainThread(TelemetryManager *manager)
{
    if (QThread::currentThread() == manager->thread())
        delete manager;
    else
        manager->deleteLater();
}

const QString defaultUserIdentifierKey = QStringLiteral("defaultUserIdentifier");

} // namespace

QString TelemetryManager::customDefaultsSuiteName(const QString &appID)
{
    const QString hash = clientUserHash(appID, QString());
    return QStringLiteral("com.telemetrydeck.") + hash.right(12);
}

TelemetryManager::TelemetryManager(std::shared_ptr<TelemetryManagerConfiguration> configuration)
    : m_configuration(std::move(configuration)),
      m_customDefaults(std::make_unique<UserDefaults>(customDefaultsSuiteName(m_configuration->telemetryAppID)))
{
    m_sessionManager = std::make_unique<SessionManager>(
        m_customDefaults.get(), [](const QString &name, const TelemetryDeck::Parameters &parameters) {
            TelemetryDeck::internalSignal(name, parameters);
        });
    SignalManager::Sources sources;
    sources.defaultUserIdentifier = [this] { return defaultUserIdentifier(); };
    sources.defaultPayload = [this] { return DefaultSignalPayload::parameters(m_sessionManager.get()); };
    m_signalManager = std::make_unique<SignalManager>(m_configuration, std::move(sources));
    m_configuration->setSessionStartHandler(this, [this] {
        // Session changes may come from any thread; the statistics live on the main thread.
        QMetaObject::invokeMethod(this, [this] { startSession(); },
                                  QThread::currentThread() == thread() ? Qt::DirectConnection : Qt::QueuedConnection);
    });
    // The first session starts a moment after launch, once the manager is stored.
    m_firstSession = Clock::shared().schedule(sessionStartDelay, [this] {
        if (shared().get() == this)
            m_configuration->setSessionID(QUuid::createUuid());
    });
}

TelemetryManager::~TelemetryManager()
{
    m_configuration->removeSessionStartHandler(this);
    m_firstSession.reset();
    m_signalManager->appWillTerminate();
    m_signalManager.reset();
    m_sessionManager.reset();
    // Writes to the settings file queued on the worker finish before the file's object goes.
    UtilityQueue::waitUntilIdle();
}

void TelemetryManager::initialize(std::shared_ptr<TelemetryManagerConfiguration> configuration)
{
    std::shared_ptr<TelemetryManager> manager(new TelemetryManager(std::move(configuration)), destroyOnMainThread);
    std::shared_ptr<TelemetryManager> previous;
    const QMutexLocker lock(&storageMutex);
    previous = std::exchange(storedManager, std::move(manager));
}

void TelemetryManager::terminate()
{
    std::shared_ptr<TelemetryManager> previous;
    const QMutexLocker lock(&storageMutex);
    previous = std::exchange(storedManager, nullptr);
}

bool TelemetryManager::isInitialized()
{
    const QMutexLocker lock(&storageMutex);
    return storedManager != nullptr;
}

std::shared_ptr<TelemetryManager> TelemetryManager::shared()
{
    const QMutexLocker lock(&storageMutex);
    return storedManager;
}

void TelemetryManager::startSession()
{
    if (m_discarded)
        return;
    if (m_configuration->sessionStatsEnabled)
        m_sessionManager->startNewSession();
    if (m_configuration->sendNewSessionBeganSignal)
        TelemetryDeck::internalSignal(QStringLiteral("TelemetryDeck.Session.started"));
}

QString TelemetryManager::defaultUserIdentifier()
{
    if (const auto user = m_configuration->defaultUser.get())
        return *user;
    if (const auto stored = m_customDefaults->stringValue(defaultUserIdentifierKey))
        return *stored;
    const QString made = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
    m_customDefaults->set(defaultUserIdentifierKey, made);
    return made;
}

QString TelemetryManager::hashedDefaultUser()
{
    return clientUserHash(defaultUserIdentifier(), m_configuration->salt);
}

void TelemetryManager::updateDefaultUser(std::optional<QString> user) { m_configuration->defaultUser.set(std::move(user)); }

void TelemetryManager::generateNewSession() { m_configuration->setSessionID(QUuid::createUuid()); }

void TelemetryManager::requestImmediateSync()
{
    {
        const QMutexLocker lock(&m_datesMutex);
        const double now = Clock::shared().now();
        if (now - m_lastTimeImmediateSyncRequested <= immediateSyncInterval)
            return;
        m_lastTimeImmediateSyncRequested = now;
    }
    QMetaObject::invokeMethod(this, [this] {
        Clock::shared().callAfter(0.05, this, [this] {
            if (!m_discarded)
                m_signalManager->attemptToSendNextBatchOfCachedSignals();
        });
    });
}

void TelemetryManager::willEnterForeground()
{
    bool rotate = false;
    {
        const QMutexLocker lock(&m_datesMutex);
        rotate = m_lastDateAppEnteredBackground + backgroundSessionTimeout < Clock::shared().now();
    }
    if (rotate)
        generateNewSession();
}

void TelemetryManager::didEnterBackground()
{
    const QMutexLocker lock(&m_datesMutex);
    m_lastDateAppEnteredBackground = Clock::shared().now();
}

void TelemetryManager::stopAndDiscard()
{
    Q_ASSERT(QThread::currentThread() == thread());
    m_configuration->analyticsDisabled = true;
    m_discarded = true;
    m_firstSession.reset();
    m_sessionManager->stop();
    m_signalManager->stopAndDiscard();
}
