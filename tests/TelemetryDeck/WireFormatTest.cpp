// What the ingestion service receives, and what the cache file carries from one run to the next.

#include "TelemetryFixture.h"

#include "TelemetryDeck/SignalManager.h"
#include "TelemetryDeck/TelemetryDeck.h"
#include "TelemetryDeck/TelemetryManager.h"

#include <QCryptographicHash>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

namespace {

class WireFormatTest : public TelemetryFixture {
protected:
    std::shared_ptr<TelemetryManagerConfiguration> startQuiet(std::optional<QString> namespaceName = {})
    {
        auto configuration = makeConfiguration(std::move(namespaceName));
        // Only the test's own signals: no session or first-install signals in the batches.
        configuration->sendNewSessionBeganSignal = false;
        configuration->sessionStatsEnabled = false;
        TelemetryDeck::initialize(configuration);
        return configuration;
    }
};

TEST_F(WireFormatTest, aBatchArrivesAsTheServiceReadsIt)
{
    auto configuration = startQuiet();
    configuration->testModeOverride.set(true);
    configuration->defaultUser.set(QStringLiteral("listener"));
    TelemetryDeck::signal(QStringLiteral("snap_back"));
    TelemetryDeck::signal(QStringLiteral("change_padding"), {{QStringLiteral("padding"), QStringLiteral("1")}}, 0.0);
    settle();
    // The launch's session: the first session of the run begins half a second later.
    const QString launchSession = configuration->sessionID().toString(QUuid::WithoutBraces).toUpper();
    tickUntilRequests(1);

    const auto &request = m_server.requests().first();
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.path, QStringLiteral("/v2/"));
    EXPECT_EQ(request.headers.value("content-type"), "application/json");
    const QJsonArray records = request.json().array();
    ASSERT_EQ(records.size(), 2);
    const QJsonObject first = records[0].toObject(), second = records[1].toObject();
    EXPECT_EQ(first.value(QLatin1String("type")).toString(), QStringLiteral("snap_back"));
    EXPECT_EQ(first.value(QLatin1String("appID")).toString(), QString::fromLatin1(appID));
    const QString expectedUser = QString::fromLatin1(
        QCryptographicHash::hash(QByteArrayLiteral("listener"), QCryptographicHash::Sha256).toHex());
    EXPECT_EQ(first.value(QLatin1String("clientUser")).toString(), expectedUser);
    EXPECT_EQ(first.value(QLatin1String("sessionID")).toString(), launchSession);
    // Whole seconds in UTC, and the test mode as text, not as a JSON boolean.
    static const QRegularExpression date(QStringLiteral("^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\+0000$"));
    EXPECT_TRUE(date.match(first.value(QLatin1String("receivedAt")).toString()).hasMatch())
        << first.value(QLatin1String("receivedAt")).toString().toStdString();
    EXPECT_EQ(first.value(QLatin1String("isTestMode")), QJsonValue(QStringLiteral("true")));
    // An absent number leaves no key; a zero is sent.
    EXPECT_FALSE(first.contains(QLatin1String("floatValue")));
    EXPECT_EQ(second.value(QLatin1String("floatValue")), QJsonValue(0.0));
    EXPECT_EQ(second.value(QLatin1String("payload")).toObject().value(QLatin1String("padding")).toString(), QStringLiteral("1"));
    // The default parameters ride along, all as text.
    const QJsonObject payload = first.value(QLatin1String("payload")).toObject();
    EXPECT_EQ(payload.value(QLatin1String("TelemetryDeck.SDK.nameAndVersion")).toString(), QStringLiteral("SwiftSDK 2.9.4"));
    EXPECT_EQ(payload.value(QLatin1String("TelemetryDeck.Device.screenResolutionWidth")).toString(), QStringLiteral("N/A"));
    for (auto it = payload.constBegin(); it != payload.constEnd(); ++it)
        EXPECT_TRUE(it.value().isString()) << it.key().toStdString();
}

TEST_F(WireFormatTest, aNamespaceGoesIntoThePathAndAnEmptyOneDoesNot)
{
    startQuiet(QStringLiteral("lumevar"));
    TelemetryDeck::signal(QStringLiteral("snap_back"));
    tickUntilRequests(1);
    EXPECT_EQ(m_server.requests().last().path, QStringLiteral("/v2/namespace/lumevar/"));
    TelemetryDeck::terminate();

    startQuiet(QString());
    TelemetryDeck::signal(QStringLiteral("snap_back"));
    tickUntilRequests(2);
    EXPECT_EQ(m_server.requests().last().path, QStringLiteral("/v2/"));
}

TEST_F(WireFormatTest, signalsLeftAtQuitAreTheNextRunsFirstRequest)
{
    startQuiet();
    TelemetryDeck::signal(QStringLiteral("snap_back"));
    TelemetryDeck::signal(QStringLiteral("view_keyboard_shortcuts"), {}, 2.5);
    settle();
    const double builtAt = m_clock.now();
    TelemetryManager::shared()->signalManager().appWillTerminate();
    TelemetryDeck::terminate();
    EXPECT_TRUE(m_server.requests().isEmpty());

    // The file holds the queue with receivedAt as seconds since 2001, fraction and all.
    QFile file(cacheFile());
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QJsonArray saved = QJsonDocument::fromJson(file.readAll()).array();
    file.close();
    ASSERT_EQ(saved.size(), 2);
    EXPECT_TRUE(saved[0].toObject().value(QLatin1String("receivedAt")).isDouble());
    EXPECT_DOUBLE_EQ(saved[0].toObject().value(QLatin1String("receivedAt")).toDouble(), builtAt);

    // The second run sends them while it starts, before its first tick, and deletes the file.
    startQuiet();
    ASSERT_TRUE(m_server.waitForRequests(1));
    EXPECT_FALSE(QFile::exists(cacheFile()));
    const QJsonArray sent = m_server.requests().first().json().array();
    ASSERT_EQ(sent.size(), 2);
    EXPECT_EQ(sent[0].toObject().value(QLatin1String("type")).toString(), QStringLiteral("snap_back"));
    EXPECT_EQ(sent[1].toObject().value(QLatin1String("floatValue")).toDouble(), 2.5);
    EXPECT_TRUE(sent[0].toObject().value(QLatin1String("receivedAt")).isString());
}

TEST_F(WireFormatTest, aDamagedCacheFileIsRemovedAndAnEmptyQueueSavesAnEmptyArray)
{
    QFile damaged(cacheFile());
    ASSERT_TRUE(damaged.open(QIODevice::WriteOnly));
    damaged.write("[{\"type\": ");
    damaged.close();
    startQuiet();
    EXPECT_FALSE(QFile::exists(cacheFile()));
    EXPECT_EQ(queued(), 0);
    m_clock.advance(SignalManager::sendInterval);
    TelemetryManager::shared()->signalManager().appWillTerminate();
    EXPECT_TRUE(m_server.requests().isEmpty());
    QFile saved(cacheFile());
    ASSERT_TRUE(saved.open(QIODevice::ReadOnly));
    EXPECT_EQ(saved.readAll(), "[]");
}

TEST_F(WireFormatTest, anUnwritableCacheFolderKeepsTheQueueInMemory)
{
    auto configuration = makeConfiguration();
    configuration->sendNewSessionBeganSignal = false;
    configuration->sessionStatsEnabled = false;
    // A file where the folder should be: nothing can be written below it.
    QFile blocker(m_folder.path() + QStringLiteral("/blocked"));
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    configuration->cacheDirectory.set(blocker.fileName());
    TelemetryDeck::initialize(configuration);
    TelemetryDeck::signal(QStringLiteral("snap_back"));
    EXPECT_EQ(queued(), 1);
    TelemetryManager::shared()->signalManager().appWillTerminate();
    EXPECT_TRUE(logLines().contains(QStringLiteral("Error saving Telemetry cache")));
    EXPECT_EQ(queued(), 1);
}

} // namespace
