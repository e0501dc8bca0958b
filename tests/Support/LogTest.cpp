#include "Support/Error.h"
#include "Support/Log.h"

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
