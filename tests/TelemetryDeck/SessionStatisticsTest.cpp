// Session statistics: what is stored, what is pruned, and the retention figures signals carry.

#include "Support/UserDefaults.h"
#include "TelemetryDeck/ApplicationActivity.h"
#include "TelemetryDeck/SessionManager.h"
#include "TelemetryDeck/UtilityQueue.h"
#include "TestKit/ManualClock.h"

#include <gtest/gtest.h>

namespace {

constexpr double day = 86400.0;

class SessionStatisticsTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        Clock::setShared(&m_clock);
        m_defaults.removePersistentDomain();
    }
    void TearDown() override
    {
        UtilityQueue::waitUntilIdle();
        m_defaults.removePersistentDomain();
        Clock::setShared(nullptr);
    }

    std::unique_ptr<SessionManager> makeManager()
    {
        auto manager = std::make_unique<SessionManager>(
            &m_defaults, [this](const QString &name, const TelemetryDeck::Parameters &parameters) {
                m_sent.append({name, parameters});
            });
        UtilityQueue::waitUntilIdle();
        return manager;
    }

    qint64 unixNow() const { return qint64(m_clock.now() + referenceDateOffsetFromUnixEpoch); }

    // Runs a session of the given active seconds and ends the process's manager.
    void runSession(double seconds)
    {
        auto manager = makeManager();
        manager->startNewSession();
        m_clock.advance(seconds);
        UtilityQueue::waitUntilIdle();
    }

    ManualClock m_clock{700000000.0};
    UserDefaults m_defaults{QStringLiteral("com.telemetrydeck.sessiontest")};
    QList<std::pair<QString, TelemetryDeck::Parameters>> m_sent;
};

TEST_F(SessionStatisticsTest, aFirstRunIsAnnouncedOnceItsSessionHasLastedASecond)
{
    auto manager = makeManager();
    manager->startNewSession();
    ASSERT_EQ(m_sent.size(), 1);
    EXPECT_EQ(m_sent[0].first, QStringLiteral("TelemetryDeck.Acquisition.newInstallDetected"));
    EXPECT_EQ(m_sent[0].second.value(QStringLiteral("TelemetryDeck.Acquisition.firstSessionDate")),
              SessionManager::dayText(m_clock.now()));

    // 0.9 seconds leave no trace, so the next session is still a first one.
    m_clock.advance(0.9);
    EXPECT_TRUE(manager->recentSessions().isEmpty());
    manager->startNewSession();
    EXPECT_EQ(m_sent.size(), 2);

    m_clock.advance(1.0);
    ASSERT_EQ(manager->recentSessions().size(), 1);
    EXPECT_EQ(manager->recentSessions()[0].durationInSeconds, 1);
    manager->startNewSession();
    EXPECT_EQ(m_sent.size(), 2);
}

TEST_F(SessionStatisticsTest, theFiguresLeaveOutTheSessionUnderWay)
{
    runSession(10);
    {
        auto manager = makeManager();
        EXPECT_EQ(manager->averageSessionSeconds(), 10);
        EXPECT_EQ(manager->previousSessionSeconds(), std::nullopt);
    }
    m_clock.advance(60);
    runSession(20);
    m_clock.advance(60);
    runSession(99.5);
    auto manager = makeManager();
    ASSERT_EQ(manager->recentSessions().size(), 3);
    EXPECT_EQ(manager->recentSessions()[2].durationInSeconds, 99);
    EXPECT_EQ(manager->averageSessionSeconds(), 15);
    EXPECT_EQ(manager->previousSessionSeconds(), 20);
    EXPECT_EQ(manager->totalSessionsCount(), 3);
    // Two runs on one day count one day.
    EXPECT_EQ(manager->distinctDaysUsed().size(), 1);
    EXPECT_EQ(manager->distinctDaysUsedLastMonth(), 1);
}

TEST_F(SessionStatisticsTest, sessionsOfNinetyDaysAgoArePrunedAndStillCounted)
{
    const qint64 now = unixNow();
    m_defaults.set(QStringLiteral("recentSessions"),
                   StoredSession::encode({{now - 7776000 - 5, 40}, {now - 7776000, 30}, {now - 7776000 + 1, 20}, {now - 100, 10}}));
    m_defaults.set(QStringLiteral("deletedSessionsCount"), 3);
    m_defaults.set(QStringLiteral("distinctDaysUsed"),
                   QStringList{SessionManager::dayText(m_clock.now() - 40 * day), SessionManager::dayText(m_clock.now() - 2 * day)});
    auto manager = makeManager();
    ASSERT_EQ(manager->recentSessions().size(), 2);
    EXPECT_EQ(manager->recentSessions()[0].durationInSeconds, 20);
    EXPECT_EQ(m_defaults.integerValue(QStringLiteral("deletedSessionsCount")), 5);
    EXPECT_EQ(manager->totalSessionsCount(), 7);
    // Today joins the days; the one of 40 days ago is not of the last month.
    EXPECT_EQ(manager->distinctDaysUsed().size(), 3);
    EXPECT_EQ(manager->distinctDaysUsedLastMonth(), 2);
}

TEST_F(SessionStatisticsTest, aDamagedHistoryCountsAsNone)
{
    m_defaults.set(QStringLiteral("recentSessions"), QByteArray("not json"));
    auto manager = makeManager();
    EXPECT_TRUE(manager->recentSessions().isEmpty());
    EXPECT_EQ(manager->averageSessionSeconds(), -1);
}

TEST_F(SessionStatisticsTest, timeWithTheApplicationInactiveIsNotCounted)
{
    auto manager = makeManager();
    ApplicationActivity::shared().setActive(true);
    manager->startNewSession();
    m_clock.advance(5);
    ApplicationActivity::shared().setActive(false);
    m_clock.advance(600);
    ApplicationActivity::shared().setActive(true);
    m_clock.advance(3);
    ASSERT_EQ(manager->recentSessions().size(), 1);
    EXPECT_EQ(manager->recentSessions()[0].durationInSeconds, 8);
}

} // namespace
