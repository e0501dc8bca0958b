#pragma once
// A telemetry client against a loopback ingestion server, on a manual clock, with its cache file
// and settings in a folder of the test's own and every log line kept.

#include "IngestionServer.h"
#include "TelemetryDeck/TelemetryManagerConfiguration.h"
#include "TestKit/ManualClock.h"

#include <QMutex>
#include <QStringList>
#include <QTemporaryDir>
#include <gtest/gtest.h>

class TelemetryFixture : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // A configuration for the server, with the cache in the test's folder and a log catcher.
    std::shared_ptr<TelemetryManagerConfiguration> makeConfiguration(std::optional<QString> namespaceName = {});
    // Initialises the client with a fresh configuration, and returns it.
    std::shared_ptr<TelemetryManagerConfiguration> start(std::optional<QString> namespaceName = {});
    // Lets the signals sent so far reach the queue (their main-thread and worker steps).
    void settle();
    qsizetype queued();
    // The next send cycle, and waits until the server has count requests in all.
    void tickUntilRequests(qsizetype count);
    // Waits until a log line containing text has been written.
    bool waitForLog(const QString &text);
    QStringList logLines();

    QString cacheFile() const { return m_folder.path() + QStringLiteral("/telemetrysignalcache"); }

    static constexpr const char *appID = "7C1E52D0-6A3B-4F18-9E27-3D0B5A8C41F6";

    ManualClock m_clock;
    IngestionServer m_server;
    QTemporaryDir m_folder;
    std::shared_ptr<QMutex> m_logMutex = std::make_shared<QMutex>();
    std::shared_ptr<QStringList> m_log = std::make_shared<QStringList>();
};
