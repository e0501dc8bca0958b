#include "Support/Error.h"
#include "Support/Log.h"

#include "TestKit/AsyncTest.h"

#include <QCoroTask>
#include <gtest/gtest.h>

namespace {

// The context and text of every line Qt was handed while one is alive; filter rules are restored.
class CapturedLines {
public:
    struct Line {
        QByteArray category, file, function;
        int line = 0;
        QtMsgType type = QtDebugMsg;
        QString message;
    };

    explicit CapturedLines(const QString &rules)
    {
        QLoggingCategory::setFilterRules(rules);
        lines().clear();
        m_previous = qInstallMessageHandler(capture);
    }
    ~CapturedLines()
    {
        qInstallMessageHandler(m_previous);
        QLoggingCategory::setFilterRules(QString());
    }
    static QList<Line> &lines()
    {
        static QList<Line> captured;
        return captured;
    }

private:
    static void capture(QtMsgType type, const QMessageLogContext &context, const QString &message)
    {
        lines().append({context.category, context.file, context.function, context.line, type, message});
    }
    QtMessageHandler m_previous = nullptr;
};

const QString syncOnlyRules = QStringLiteral("com.dunmoor.Lumevar.sync.debug=true\ncom.dunmoor.Lumevar.collection=false");

QCoro::Task<int> failingLookup()
{
    throw StoreError(StoreError::queryFailed, QStringLiteral("disk gone"));
    co_return 0;
}

QCoro::Task<void> lookupLoggingItsFailure()
{
    try {
        co_await failingLookup();
    } catch (...) {
        LUMEVAR_ERROR(Log::collection(), "Failed to look up: %@", errorFromCurrentException());
    }
}

} // namespace

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
    LUMEVAR_INFO(Log::sync(), "Synced %d songs", 12);
    LUMEVAR_ERROR(Log::sync(), "Failed to load albums: %@", StoreError(StoreError::queryFailed, QStringLiteral("disk full")));
    const auto entries = LogStore::shared().entries();
    ASSERT_EQ(entries.size(), 1);
    EXPECT_EQ(entries[0].subsystem, QString::fromUtf8(Log::subsystem));
    EXPECT_EQ(entries[0].category, QStringLiteral("sync"));
    EXPECT_EQ(entries[0].level, Log::Level::error);
    EXPECT_TRUE(entries[0].message.startsWith(QStringLiteral("Failed to load albums: ")));
    EXPECT_TRUE(entries[0].message.contains(QStringLiteral("disk full")));
}

TEST(LogMacros, FilteredLinesEvaluateNothingAndWrittenOnesCarryTheirPlace)
{
    const CapturedLines captured(syncOnlyRules);
    int evaluated = 0;
    const auto counted = [&evaluated] { return ++evaluated; };

    LUMEVAR_DEBUG(Log::collection(), "Listed %d folders", counted());
    LUMEVAR_INFO(Log::collection(), "Listed %d folders", counted());
    EXPECT_EQ(evaluated, 0);
    EXPECT_TRUE(CapturedLines::lines().isEmpty());

    const int line = __LINE__ + 1;
    LUMEVAR_DEBUG(Log::sync(), "Synced %d songs in %.2f s", counted(), 1.5);
    EXPECT_EQ(evaluated, 1);
    ASSERT_EQ(CapturedLines::lines().size(), 1);
    const CapturedLines::Line &written = CapturedLines::lines().constFirst();
    EXPECT_EQ(written.message, QStringLiteral("Synced 1 songs in 1.50 s"));
    EXPECT_EQ(written.category, QByteArrayLiteral("com.dunmoor.Lumevar.sync"));
    EXPECT_EQ(written.type, QtDebugMsg);
    EXPECT_TRUE(written.file.endsWith("LogTest.cpp")) << written.file.constData();
    EXPECT_EQ(written.line, line);
    EXPECT_TRUE(written.function.contains("FilteredLinesEvaluateNothing")) << written.function.constData();

    // One statement: an else after it belongs to the if before it.
    for (const bool log : {true, false}) {
        if (log)
            LUMEVAR_DEBUG(Log::sync(), "Logged");
        else
            ++evaluated;
    }
    EXPECT_EQ(evaluated, 2);
    EXPECT_EQ(CapturedLines::lines().size(), 2);
}

TEST(LogMacros, ErrorLinesOfAFilteredCategoryStillReachTheStoreWithoutCredentials)
{
    const CapturedLines captured(syncOnlyRules);
    LogStore::shared().clear();
    LUMEVAR_ERROR(Log::collection(), "Failed to fetch %@", QStringLiteral("https://music.example/rest/ping?u=al&p=secret&t=abc&v=1"));
    const auto entries = LogStore::shared().entries();
    ASSERT_EQ(entries.size(), 1);
    EXPECT_EQ(entries[0].category, QStringLiteral("collection"));
    EXPECT_EQ(entries[0].message, QStringLiteral("Failed to fetch https://music.example/rest/ping?u=al&p=…&t=…&v=1"));
    EXPECT_TRUE(CapturedLines::lines().isEmpty());

    // Also from a coroutine's catch block, where the line's arguments are made from the exception.
    runTask(lookupLoggingItsFailure());
    ASSERT_EQ(LogStore::shared().entries().size(), 2);
    EXPECT_TRUE(LogStore::shared().entries().constLast().message.contains(QStringLiteral("disk gone")));
}

TEST(LogStore, KeepsTheLastLinesUpToItsCapacityOldestFirst)
{
    LogStore &store = LogStore::shared();
    store.clear();
    const qsizetype extra = 5;
    for (qsizetype i = 0; i < LogStore::capacity + extra; ++i)
        store.append({QDateTime(), QString(), QStringLiteral("app"), Log::Level::error, QString::number(i)});
    const auto entries = store.entries();
    ASSERT_EQ(entries.size(), LogStore::capacity);
    EXPECT_EQ(entries.constFirst().message, QString::number(extra));
    EXPECT_EQ(entries.constLast().message, QString::number(LogStore::capacity + extra - 1));

    // Emptied, it starts over oldest first.
    store.clear();
    for (const QString &message : {QStringLiteral("first"), QStringLiteral("second")})
        store.append({QDateTime(), QString(), QStringLiteral("app"), Log::Level::error, message});
    ASSERT_EQ(store.entries().size(), 2);
    EXPECT_EQ(store.entries().constFirst().message, QStringLiteral("first"));
}
