// Work handed to a pool: every index of a parallel loop runs once and its writes are the
// caller's after it; a failure arrives as itself; a pool whose threads are all taken does not
// hold the loop up; a job's result reaches every waiter. Under the tsan preset these tests
// also check that the hand-overs are ones the sanitizer sees (plain, unlocked data crosses them).

#include "Support/PoolJobs.h"
#include "TestKit/AsyncTest.h"

#include <QThreadPool>
#include <gtest/gtest.h>

#include <algorithm>
#include <future>
#include <stdexcept>
#include <vector>

TEST(PoolJobs, ALoopCallsEveryIndexOnceAndItsWritesAreTheCallersAfterwards)
{
    QThreadPool pool;
    pool.setMaxThreadCount(3);
    for (const qsizetype count : {0, 1, 2, 1000, 100'003}) {
        const std::vector<int> input(size_t(count), 7); // written before the hand-over, read by the helpers
        std::vector<int> calls(size_t(count), 0);
        forEachOnPool(pool, count, [&](qsizetype i) { calls[size_t(i)] += input[size_t(i)]; });
        EXPECT_EQ(std::count(calls.begin(), calls.end(), 7), count) << count << " indexes";
    }
}

TEST(PoolJobs, AFailingCallEndsTheLoopWithItsOwnException)
{
    QThreadPool pool;
    pool.setMaxThreadCount(2);
    for (const qsizetype failing : {0, 5'000, 9'999}) {
        EXPECT_THROW(forEachOnPool(pool, 10'000,
                                   [failing](qsizetype i) {
                                       if (i == failing)
                                           throw std::invalid_argument("unreadable tags");
                                   }),
                     std::invalid_argument);
    }
}

TEST(PoolJobs, ALoopOnAPoolWhoseThreadsAreAllTakenIsDoneByTheCaller)
{
    // The pool's one thread waits until the loop has ended: had the loop waited for a helper
    // queued behind it, neither would ever end.
    QThreadPool pool;
    pool.setMaxThreadCount(1);
    std::promise<void> loopEnded;
    std::shared_future<void> ended = loopEnded.get_future().share();
    pool.start([ended] { ended.wait(); });

    std::vector<int> calls(500, 0);
    forEachOnPool(pool, qsizetype(calls.size()), [&](qsizetype i) { ++calls[size_t(i)]; });
    loopEnded.set_value();
    EXPECT_EQ(std::count(calls.begin(), calls.end(), 1), 500);
    // The helper that starts now finds the loop over and leaves without touching its calls, which
    // are gone (AddressSanitizer would report the stale frame).
    pool.waitForDone();
}

TEST(PoolJobs, AResultReachesEveryWaiterAsItsValueOrItsException)
{
    QThreadPool pool;
    std::vector<int> handedIn{1, 2, 3};
    const auto doubled = PoolResult<std::vector<int>>::start(pool, [&handedIn] {
        std::vector<int> out;
        for (const int value : handedIn)
            out.push_back(2 * value);
        return out;
    });
    // Two coroutines await it, one before and one after its end, and a thread blocks for it.
    const auto awaitValue = [](PoolResult<std::vector<int>> result) -> QCoro::Task<std::vector<int>> {
        co_await result.ended();
        co_return result.get();
    };
    QCoro::Task<std::vector<int>> early = awaitValue(doubled);
    EXPECT_EQ(doubled.get(), (std::vector<int>{2, 4, 6}));
    EXPECT_EQ(runTask(std::move(early)), (std::vector<int>{2, 4, 6}));
    EXPECT_EQ(runTask(awaitValue(doubled)), (std::vector<int>{2, 4, 6}));

    const auto failing = PoolResult<int>::start(pool, []() -> int { throw std::out_of_range("no such folder"); });
    EXPECT_THROW(failing.get(), std::out_of_range);
    EXPECT_THROW(failing.get(), std::out_of_range) << "every waiter meets the exception";
}
