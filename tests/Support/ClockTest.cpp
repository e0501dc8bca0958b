#include "Support/Clock.h"
#include "Support/Task.h"
#include "TestKit/AsyncTest.h"
#include "TestKit/ManualClock.h"

#include <gtest/gtest.h>

TEST(Clock, DelayedCallsRunInTimeOrderAndAreDroppedWithTheirContext)
{
    ManualClock clock;
    QObject context;
    QStringList calls;
    clock.callAfter(2.0, &context, [&] { calls << QStringLiteral("late"); });
    clock.callAfter(0.5, &context, [&] { calls << QStringLiteral("early"); });
    {
        QObject gone;
        clock.callAfter(1.0, &gone, [&] { calls << QStringLiteral("gone"); });
    }
    clock.advance(0.4);
    EXPECT_TRUE(calls.isEmpty());
    clock.advance(10);
    EXPECT_EQ(calls, (QStringList{QStringLiteral("early"), QStringLiteral("late")}));
}

TEST(Clock, SleepResumesWhenTimeComesAndThrowsWhenCancelled)
{
    ManualClock clock;
    bool woke = false;
    auto sleeper = [&]() -> QCoro::Task<void> {
        co_await clock.sleep(0.1);
        woke = true;
    };
    auto task = sleeper();
    EXPECT_FALSE(woke);
    clock.advance(0.1);
    EXPECT_TRUE(woke);

    TaskHandle handle;
    bool cancelled = false;
    auto cancellable = [&](CancellationToken token) -> QCoro::Task<void> {
        try {
            co_await clock.sleep(60, token);
        } catch (const CancellationError &) {
            cancelled = true;
        }
    };
    auto second = cancellable(handle.token());
    handle.cancel();
    runTask(std::move(second));
    EXPECT_TRUE(cancelled);
}

TEST(SystemClock, CountsSecondsFromTheReferenceDate)
{
    // 2001-01-01 is about 25.9 years before 2026: the value must be in the hundreds of millions.
    const double now = SystemClock().now();
    EXPECT_GT(now, 7.0e8);
    EXPECT_LT(now, 2.0e9);
}
