// The real executable with usage statistics switched on and the ingestion URL pointed at a loopback
// server: the first session's signal is made about half a second after launch and leaves with the
// first tick, and a quit (SIGTERM) writes what is queued to the cache file.

#include "LaunchedApp.h"

#include "IngestionServer.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonObject>
#include <gtest/gtest.h>

TEST(TelemetryLaunchTest, theFirstSessionIsSentAndTheQueueSavedAtQuit)
{
    IngestionServer server;
    LaunchedApp app;
    ASSERT_TRUE(QDir().mkpath(QFileInfo(app.settingsFile()).absolutePath()));
    QFile settings(app.settingsFile());
    ASSERT_TRUE(settings.open(QIODevice::WriteOnly));
    settings.write("[General]\nshareUsageStatistics=true\n");
    settings.close();
    app.setEnvironment(QStringLiteral("LUMEVAR_TELEMETRY_URL"), server.baseURL().toString());
    app.setEnvironment(QStringLiteral("LUMEVAR_TELEMETRY_APP_ID"), QStringLiteral("7C1E52D0-6A3B-4F18-9E27-3D0B5A8C41F6"));

    const qint64 launchedAt = QDateTime::currentSecsSinceEpoch();
    QProcess &lumevar = app.launch();
    ASSERT_TRUE(lumevar.waitForStarted());

    // The first tick comes 10 seconds after launch.
    ASSERT_TRUE(LaunchedApp::waitFor([&] { return !server.requests().isEmpty(); }, 30000));
    const QJsonArray records = server.requests().first().json().array();
    const auto started = std::find_if(records.begin(), records.end(), [](const QJsonValue &record) {
        return record.toObject().value(QLatin1String("type")).toString() == QLatin1String("TelemetryDeck.Session.started");
    });
    ASSERT_NE(started, records.end());
    const QDateTime receivedAt = QDateTime::fromString(started->toObject().value(QLatin1String("receivedAt")).toString(),
                                                       QStringLiteral("yyyy-MM-ddTHH:mm:ss+0000"));
    // Made half a second after launch (the wire keeps whole seconds; the start-up itself takes some).
    const qint64 made = QDateTime(receivedAt.date(), receivedAt.time(), Qt::UTC).toSecsSinceEpoch();
    EXPECT_GE(made, launchedAt);
    EXPECT_LE(made, launchedAt + 3);

    lumevar.terminate(); // SIGTERM: the application quits as from its menu
    ASSERT_TRUE(lumevar.waitForFinished(15000));
    EXPECT_EQ(lumevar.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(lumevar.exitCode(), 0);
    QFile cache(app.cacheFolder() + QStringLiteral("/telemetrysignalcache"));
    ASSERT_TRUE(cache.open(QIODevice::ReadOnly));
    EXPECT_TRUE(QJsonDocument::fromJson(cache.readAll()).isArray());
}
