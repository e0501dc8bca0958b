#include "Support/Error.h"
#include "Support/Log.h"

#include <QLoggingCategory>
#include <gtest/gtest.h>

TEST(LogFormat, FillsConversionsInOrderAndHonoursFloatPrecision)
{
    EXPECT_EQ(Log::format("Failed to load albums: %@", {QStringLiteral("boom")}), QStringLiteral("Failed to load albums: boom"));
    EXPECT_EQ(Log::format("%s has %d songs, %.1f%% done", {QStringLiteral("A"), QStringLiteral("3"), QStringLiteral("x")}, {qQNaN(), 3, 42.26}),
              QStringLiteral("A has 3 songs, 42.3% done"));
    // Missing arguments do not crash and say so; text that is no conversion stays.
    EXPECT_EQ(Log::format("%@ and %@", {QStringLiteral("one")}), QStringLiteral("one and (null)"));
    EXPECT_EQ(Log::format("100% sure", {}), QStringLiteral("100% sure"));
}

TEST(LogStore, KeepsErrorLinesWithTheirCategoryButNotLowerLevels)
{
    LogStore::shared().clear();
    Log::info(Log::sync(), "Synced %d songs", 12);
    Log::error(Log::sync(), "Failed to load albums: %@", StoreError(StoreError::queryFailed, QStringLiteral("disk full")));
    const auto entries = LogStore::shared().entries();
    ASSERT_EQ(entries.size(), 1);
    EXPECT_EQ(entries[0].subsystem, QString::fromUtf8(Log::subsystem));
    EXPECT_EQ(entries[0].category, QStringLiteral("sync"));
    EXPECT_EQ(entries[0].level, Log::Level::error);
    EXPECT_TRUE(entries[0].message.startsWith(QStringLiteral("Failed to load albums: ")));
    EXPECT_TRUE(entries[0].message.contains(QStringLiteral("disk full")));
}

namespace {

// Counts how often a log line turns it into text.
struct Counted {
    int *conversions;
};
QString text(const Counted &value)
{
    ++*value.conversions;
    return QStringLiteral("counted");
}

struct Captured {
    QString file;
    int line = 0;
    QString message;
};
Captured captured;
void capture(QtMsgType, const QMessageLogContext &context, const QString &message)
{
    captured = {QString::fromUtf8(context.file ? context.file : ""), context.line, message};
}

} // namespace

TEST(LogLine, AFilteredLineCostsNoFormattingAndAWrittenOneCarriesItsCallSite)
{
    int conversions = 0;
    const QtMessageHandler previous = qInstallMessageHandler(capture);
    QLoggingCategory::setFilterRules(QStringLiteral("com.dunmoor.Lumevar.sync.debug=false"));
    Log::debug(Log::sync(), "Skipped %@", Counted{&conversions});
    EXPECT_EQ(conversions, 0);

    QLoggingCategory::setFilterRules(QStringLiteral("com.dunmoor.Lumevar.sync.debug=true"));
    const int line = __LINE__ + 1;
    Log::debug(Log::sync(), "Written %@", Counted{&conversions});
    QLoggingCategory::setFilterRules(QString());
    qInstallMessageHandler(previous);

    EXPECT_EQ(conversions, 1);
    EXPECT_EQ(captured.message, QStringLiteral("Written counted"));
    EXPECT_TRUE(captured.file.endsWith(QStringLiteral("LogTest.cpp"))) << captured.file.toStdString();
    EXPECT_EQ(captured.line, line);
}

TEST(LogStore, KeepsTheNewestErrorsInOrderOnceFull)
{
    LogStore::shared().clear();
    const QtMessageHandler previous = qInstallMessageHandler(capture);
    const int extra = 5;
    for (int i = 0; i < LogStore::capacity + extra; ++i)
        Log::error(Log::app(), "Error %d", i);
    qInstallMessageHandler(previous);
    const auto entries = LogStore::shared().entries();
    ASSERT_EQ(entries.size(), LogStore::capacity);
    EXPECT_EQ(entries.front().message, QStringLiteral("Error %1").arg(extra));
    EXPECT_EQ(entries.back().message, QStringLiteral("Error %1").arg(LogStore::capacity + extra - 1));
    LogStore::shared().clear();
    Log::error(Log::app(), "After clearing");
    ASSERT_EQ(LogStore::shared().entries().size(), 1);
}
