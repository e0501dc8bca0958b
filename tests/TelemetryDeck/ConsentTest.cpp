// The application's consent switch in front of the client: off, nothing is made, sent or written;
// on, the client starts at once and the application's signals and errors go out; off again, what
// was queued is dropped and its file removed.

#include "IngestionServer.h"
#include "Lumevar/App/UsageStatistics.h"
#include "Lumevar/Settings/PrivacySettings.h"
#include "Support/Error.h"
#include "Support/UserDefaults.h"
#include "TelemetryDeck/SignalManager.h"
#include "TelemetryDeck/TelemetryDeck.h"
#include "TelemetryDeck/TelemetryManager.h"
#include "TelemetryDeck/UtilityQueue.h"
#include "TestKit/ManualClock.h"

#include <QCoreApplication>
#include <QFile>
#include <QJsonObject>
#include <QStandardPaths>
#include <gtest/gtest.h>

namespace {

class ConsentTest : public ::testing::Test {
protected:
    ConsentTest()
    {
        Clock::setShared(&m_clock);
        UserDefaults::standard().removePersistentDomain();
        QFile::remove(cacheFile());
    }
    ~ConsentTest() override
    {
        m_statistics.reset();
        UtilityQueue::waitUntilIdle();
        UserDefaults::standard().removePersistentDomain();
        QFile::remove(cacheFile());
        Clock::setShared(nullptr);
    }

    static QString cacheFile()
    {
        return QStandardPaths::writableLocation(QStandardPaths::CacheLocation) + QStringLiteral("/telemetrysignalcache");
    }

    void makeStatistics()
    {
        m_statistics = std::make_unique<UsageStatistics>(
            UsageStatistics::Deployment{m_server.baseURL(), QStringLiteral("7C1E52D0-6A3B-4F18-9E27-3D0B5A8C41F6")},
            UserDefaults::standard());
    }

    void useTheApplication()
    {
        sendAppSignal(AppSignal::snapBack);
        reportError(URLError(URLError::timedOut), QStringLiteral("sync"));
        QCoreApplication::processEvents();
        UtilityQueue::waitUntilIdle();
    }

    QStringList typesReceived() const
    {
        QStringList types;
        for (const auto &request : m_server.requests())
            for (const auto &record : request.json().array())
                types.append(record.toObject().value(QLatin1String("type")).toString());
        return types;
    }

    ManualClock m_clock;
    IngestionServer m_server;
    std::unique_ptr<UsageStatistics> m_statistics;
};

TEST_F(ConsentTest, offByDefaultNothingIsMadeSentOrWritten)
{
    makeStatistics();
    EXPECT_FALSE(m_statistics->isSharing());
    useTheApplication();
    m_clock.advance(60);
    m_statistics.reset();
    EXPECT_FALSE(TelemetryDeck::isInitialized());
    EXPECT_TRUE(m_server.requests().isEmpty());
    EXPECT_FALSE(QFile::exists(cacheFile()));
}

TEST_F(ConsentTest, switchingOnStartsAtOnceAndTheApplicationsSignalsGoOut)
{
    makeStatistics();
    UserDefaults::standard().set(PrivacyKeys::shareUsageStatistics, true);
    EXPECT_TRUE(m_statistics->isSharing());
    EXPECT_TRUE(TelemetryDeck::isInitialized());
    m_clock.advance(0.5); // the first session
    useTheApplication();
    m_clock.advance(SignalManager::sendInterval);
    ASSERT_TRUE(m_server.waitForRequests(1));
    const QStringList types = typesReceived();
    EXPECT_TRUE(types.contains(QStringLiteral("TelemetryDeck.Session.started"))) << types.join(u',').toStdString();
    EXPECT_TRUE(types.contains(QStringLiteral("snap_back")));
    const auto records = m_server.requests().first().json().array();
    const auto error = std::find_if(records.begin(), records.end(), [](const QJsonValue &record) {
        return record.toObject().value(QLatin1String("type")).toString() == QLatin1String("TelemetryDeck.Error.occurred");
    });
    ASSERT_NE(error, records.end());
    const QJsonObject payload = error->toObject().value(QLatin1String("payload")).toObject();
    EXPECT_EQ(payload.value(QLatin1String("TelemetryDeck.Error.id")).toString(), QStringLiteral("error_sync"));
    EXPECT_EQ(payload.value(QLatin1String("code")).toString(), QString::number(URLError::timedOut));
}

TEST_F(ConsentTest, switchingOffDropsWhatWasQueuedAndItsFile)
{
    UserDefaults::standard().set(PrivacyKeys::shareUsageStatistics, true);
    makeStatistics();
    ASSERT_TRUE(m_statistics->isSharing());
    useTheApplication();
    UserDefaults::standard().set(PrivacyKeys::shareUsageStatistics, false);
    EXPECT_FALSE(TelemetryDeck::isInitialized());
    useTheApplication();
    m_clock.advance(3 * SignalManager::sendInterval);
    m_statistics.reset();
    QCoreApplication::processEvents();
    EXPECT_TRUE(m_server.requests().isEmpty());
    EXPECT_FALSE(QFile::exists(cacheFile()));
}

} // namespace
