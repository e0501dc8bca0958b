#include "TelemetryFixture.h"

#include "Support/UserDefaults.h"
#include "TelemetryDeck/SignalManager.h"
#include "TelemetryDeck/TelemetryDeck.h"
#include "TelemetryDeck/TelemetryManager.h"
#include "TelemetryDeck/UtilityQueue.h"

#include <QCoreApplication>
#include <QTest>

void TelemetryFixture::SetUp()
{
    Clock::setShared(&m_clock);
    // Each test starts as a first install: no stored user, sessions or days.
    UserDefaults(TelemetryManager::customDefaultsSuiteName(QString::fromLatin1(appID))).removePersistentDomain();
}

void TelemetryFixture::TearDown()
{
    TelemetryDeck::terminate();
    UtilityQueue::waitUntilIdle();
    Clock::setShared(nullptr);
}

std::shared_ptr<TelemetryManagerConfiguration> TelemetryFixture::makeConfiguration(std::optional<QString> namespaceName)
{
    auto configuration = std::make_shared<TelemetryManagerConfiguration>(QString::fromLatin1(appID), std::nullopt,
                                                                          m_server.baseURL(), namespaceName);
    configuration->cacheDirectory.set(m_folder.path());
    configuration->logHandler.set(LogHandler{LogHandler::LogLevel::debug,
                                             [mutex = m_logMutex, log = m_log](LogHandler::LogLevel, const QString &line) {
                                                 const QMutexLocker lock(mutex.get());
                                                 log->append(line);
                                             }});
    return configuration;
}

std::shared_ptr<TelemetryManagerConfiguration> TelemetryFixture::start(std::optional<QString> namespaceName)
{
    auto configuration = makeConfiguration(std::move(namespaceName));
    TelemetryDeck::initialize(configuration);
    return configuration;
}

void TelemetryFixture::settle()
{
    QCoreApplication::processEvents();
    UtilityQueue::waitUntilIdle();
}

qsizetype TelemetryFixture::queued()
{
    settle();
    return TelemetryManager::shared()->signalManager().signalCache().signalCount();
}

void TelemetryFixture::tickUntilRequests(qsizetype count)
{
    settle();
    m_clock.advance(SignalManager::sendInterval);
    ASSERT_TRUE(m_server.waitForRequests(count)) << "requests so far: " << m_server.requests().size();
}

bool TelemetryFixture::waitForLog(const QString &text)
{
    return QTest::qWaitFor([&] {
        const QMutexLocker lock(m_logMutex.get());
        return std::any_of(m_log->cbegin(), m_log->cend(), [&](const QString &line) { return line.contains(text); });
    }, 10000);
}

QStringList TelemetryFixture::logLines()
{
    const QMutexLocker lock(m_logMutex.get());
    return *m_log;
}
