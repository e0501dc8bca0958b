// The queue and its transport: batches of 100 per tick, the statuses that count as sent, failed
// batches back at the tail, and signals dropped when the user withdraws consent.

#include "TelemetryFixture.h"

#include "TelemetryDeck/SignalManager.h"
#include "TelemetryDeck/TelemetryDeck.h"
#include "TelemetryDeck/TelemetryError.h"
#include "TelemetryDeck/TelemetryManager.h"

#include <QFile>
#include <QJsonObject>

namespace {

class QueueTest : public TelemetryFixture {
protected:
    void SetUp() override
    {
        TelemetryFixture::SetUp();
        m_configuration = makeConfiguration();
        m_configuration->sendNewSessionBeganSignal = false;
        m_configuration->sessionStatsEnabled = false;
        TelemetryDeck::initialize(m_configuration);
    }

    void send(int count, const QString &prefix = QStringLiteral("s"))
    {
        for (int i = 0; i < count; ++i)
            TelemetryDeck::signal(prefix + QString::number(i));
        settle();
    }

    QStringList typesOf(qsizetype request)
    {
        QStringList types;
        for (const auto &record : m_server.requests().at(request).json().array())
            types.append(record.toObject().value(QLatin1String("type")).toString());
        return types;
    }

    std::shared_ptr<TelemetryManagerConfiguration> m_configuration;
};

TEST_F(QueueTest, aLongQueueLeavesOneBatchOfAHundredPerTick)
{
    send(250);
    EXPECT_EQ(queued(), 250);
    tickUntilRequests(1);
    tickUntilRequests(2);
    tickUntilRequests(3);
    ASSERT_EQ(m_server.requests().size(), 3);
    EXPECT_EQ(m_server.requests()[0].json().array().size(), 100);
    EXPECT_EQ(m_server.requests()[1].json().array().size(), 100);
    EXPECT_EQ(m_server.requests()[2].json().array().size(), 50);
    EXPECT_EQ(typesOf(0).first(), QStringLiteral("s0"));
    EXPECT_EQ(typesOf(2).last(), QStringLiteral("s249"));
    // An empty queue sends nothing.
    ASSERT_TRUE(waitForLog(QStringLiteral("ok")));
    m_clock.advance(SignalManager::sendInterval);
    EXPECT_EQ(m_server.requests().size(), 3);
}

TEST_F(QueueTest, anImmediateSyncSendsSoonAndAtMostOnceInTenSeconds)
{
    send(150);
    TelemetryDeck::requestImmediateSync();
    TelemetryDeck::requestImmediateSync();
    m_clock.advance(0.05);
    ASSERT_TRUE(m_server.waitForRequests(1));
    m_clock.advance(5);
    TelemetryDeck::requestImmediateSync();
    m_clock.advance(0.05);
    EXPECT_EQ(queued(), 50);
    EXPECT_EQ(m_server.requests().size(), 1);
}

TEST_F(QueueTest, onlyTwoHundredsCountAsSent)
{
    // The words of the refusals; which statuses count is checked through the wire below.
    EXPECT_EQ(validateResponse(401)->errorDescription(), QStringLiteral("Unauthorized (401)"));
    EXPECT_EQ(validateResponse(403)->errorDescription(), QStringLiteral("Forbidden (403)"));
    EXPECT_EQ(validateResponse(413)->errorDescription(), QStringLiteral("Payload is too large (413)"));

    // Through the wire: a refused batch comes back, an accepted one is forgotten.
    m_server.answerWith({199, 200, 299, 300, 401, 413});
    const QStringList expectedLogs{QStringLiteral("invalidStatusCode(199)"), QStringLiteral("ok"), QStringLiteral("ok"),
                                   QStringLiteral("invalidStatusCode(300)"), QStringLiteral("unauthorised"),
                                   QStringLiteral("payloadTooLarge")};
    const QList<qsizetype> expectedQueue{1, 0, 0, 1, 1, 1};
    for (int i = 0; i < 6; ++i) {
        if (queued() == 0)
            send(1);
        m_log->clear();
        tickUntilRequests(i + 1);
        ASSERT_TRUE(waitForLog(expectedLogs[i])) << i;
        EXPECT_EQ(queued(), expectedQueue[i]) << i;
    }
}

TEST_F(QueueTest, aRefusedBatchGoesBehindWhatCameMeanwhile)
{
    m_server.answerWith({413});
    send(150, QStringLiteral("old"));
    tickUntilRequests(1);
    ASSERT_TRUE(waitForLog(QStringLiteral("payloadTooLarge")));
    send(1, QStringLiteral("new"));
    // 50 older, 100 refused and sent back, then the newest: the refused ones have lost their place.
    tickUntilRequests(2);
    const QStringList second = typesOf(1);
    ASSERT_EQ(second.size(), 100);
    EXPECT_EQ(second.first(), QStringLiteral("old100"));
    EXPECT_EQ(second[50], QStringLiteral("old0"));
    tickUntilRequests(3);
    EXPECT_EQ(typesOf(2).last(), QStringLiteral("new0"));
}

TEST_F(QueueTest, noServerMeansTheBatchWaitsForTheNextTick)
{
    auto configuration = std::make_shared<TelemetryManagerConfiguration>(
        QString::fromLatin1(appID), std::nullopt, QUrl(QStringLiteral("http://127.0.0.1:1")));
    configuration->cacheDirectory.set(m_folder.path());
    configuration->logHandler.set(makeConfiguration()->logHandler.get());
    configuration->sessionStatsEnabled = false;
    configuration->sendNewSessionBeganSignal = false;
    TelemetryDeck::initialize(configuration);
    send(3);
    m_clock.advance(SignalManager::sendInterval);
    ASSERT_TRUE(waitForLog(QStringLiteral("Connection refused")));
    EXPECT_EQ(queued(), 3);
}

TEST_F(QueueTest, aWithdrawalSendsNothingMoreAndRemovesTheFileOfAnEarlierRun)
{
    send(2);
    TelemetryDeck::terminate(); // saves the queue, as a quit does
    ASSERT_TRUE(QFile::exists(cacheFile()));
    m_server.answerWith({500}); // the new run's first send fails, so its batch is queued again
    auto configuration = makeConfiguration();
    TelemetryDeck::initialize(configuration);
    ASSERT_TRUE(m_server.waitForRequests(1));
    ASSERT_TRUE(waitForLog(QStringLiteral("invalidStatusCode(500)")));
    // Signals still on their way and made after the withdrawal go nowhere either.
    send(5);
    TelemetryDeck::signal(QStringLiteral("on its way"));
    TelemetryDeck::stopAndDiscardSignals();
    EXPECT_FALSE(TelemetryDeck::isInitialized());
    TelemetryDeck::signal(QStringLiteral("after"));
    settle();
    m_clock.advance(3 * SignalManager::sendInterval);
    settle();
    EXPECT_EQ(m_server.requests().size(), 1);
    EXPECT_FALSE(QFile::exists(cacheFile()));
}

TEST_F(QueueTest, beforeInitialiseNothingIsMadeOrSent)
{
    TelemetryDeck::terminate();
    QFile::remove(cacheFile()); // the fixture's own run saved its empty queue
    TelemetryDeck::signal(QStringLiteral("early"));
    TelemetryDeck::errorOccurred(QStringLiteral("error_sync"));
    settle();
    m_clock.advance(3 * SignalManager::sendInterval);
    EXPECT_TRUE(m_server.requests().isEmpty());
    EXPECT_FALSE(QFile::exists(cacheFile()));
}

} // namespace
