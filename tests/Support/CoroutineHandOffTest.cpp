// Awaiting work across threads: where a coroutine resumes, that a waiting thread is never
// blocked while it has an event loop to serve, that a thread without one is still resumed, that
// a guarded await stops once its owner is gone, and that waiting for a failing task returns.

#include "Support/HandBack.h"
#include "Support/OwnerGuard.h"
#include "Support/PoolTask.h"
#include "Support/Task.h"
#include "Support/WaitForTask.h"
#include "TestKit/AsyncTest.h"

#include <QCoreApplication>
#include <QCoroTimer>
#include <QEventLoop>
#include <QThread>
#include <QThreadPool>
#include <QTimer>
#include <gtest/gtest.h>

#include <future>
#include <stdexcept>
#include <thread>

namespace {

// Awaits work whose end is signalled from a thread of its own; records the thread it resumed on.
QCoro::Task<void> awaitOtherThread(std::function<void()> work, QThread **resumedOn)
{
    HandBack done;
    std::thread worker([work = std::move(work), done] {
        work();
        done.finish();
    });
    worker.detach();
    co_await done;
    *resumedOn = QThread::currentThread();
}

} // namespace

TEST(CoroutineHandOff, TheMainThreadServesItsEventLoopWhileTheWorkRunsAndResumesOnItself)
{
    // The work ends only once the main thread's event loop has run a call queued to it: were the
    // waiting thread blocked, this would never end.
    std::promise<void> served;
    std::shared_future<void> servedSignal = served.get_future().share();
    QTimer::singleShot(0, [&served] { served.set_value(); });
    QThread *resumedOn = nullptr;
    runTask(awaitOtherThread([servedSignal] { servedSignal.wait(); }, &resumedOn));
    EXPECT_EQ(resumedOn, QCoreApplication::instance()->thread());
}

TEST(CoroutineHandOff, AThreadWithoutAnEventLoopIsResumedOnItselfAndOneWithALoopThroughIt)
{
    // A pool's worker runs no event loop: a call queued to it would never run.
    QThreadPool pool;
    std::promise<std::pair<QThread *, QThread *>> onPool;
    pool.start([&onPool] {
        QThread *resumedOn = nullptr;
        QThread *self = QThread::currentThread();
        // Not awaited: the task runs to its end inside this call, since the await blocks.
        QCoro::Task<void> task = awaitOtherThread([] { std::this_thread::yield(); }, &resumedOn);
        onPool.set_value({self, resumedOn});
    });
    const auto [poolThread, poolResumedOn] = onPool.get_future().get();
    EXPECT_EQ(poolResumedOn, poolThread);

    // A QThread in its event loop is resumed through that loop, on itself. (The work is started
    // from its started signal, connected before the thread starts, so that nothing is handed to
    // the thread through Qt's event queue.)
    QThread loopThread;
    std::promise<std::pair<QThread *, QThread *>> onLoop;
    QThread *resumedOn = nullptr;
    QObject::connect(&loopThread, &QThread::started, [&] {
        QTimer::singleShot(0, [&] { // inside the thread's event loop
            awaitOtherThread([] {}, &resumedOn).then([&] { onLoop.set_value({QThread::currentThread(), resumedOn}); });
        });
    });
    loopThread.start();
    const auto [loopSelf, loopResumedOn] = onLoop.get_future().get();
    EXPECT_EQ(loopSelf, &loopThread);
    EXPECT_EQ(loopResumedOn, &loopThread);
    loopThread.quit();
    loopThread.wait();
}

TEST(CoroutineHandOff, PoolWorkDeliversItsResultOrItsExceptionToAnyThread)
{
    QThreadPool pool;
    EXPECT_EQ(runTask(runOnPool(pool, [] { return 6 * 7; })), 42);
    EXPECT_THROW(runTask(runOnPool(pool, []() -> int { throw std::runtime_error("tags unreadable"); })), std::runtime_error);

    // Awaited from a pool thread that has no event loop (QCoro's QFuture awaiter would hang there).
    QThreadPool outer;
    std::promise<int> fromPool;
    outer.start([&] {
        QThreadPool inner;
        runOnPool(inner, [] { return 7; }).then([&](int value) { fromPool.set_value(value); });
    });
    EXPECT_EQ(fromPool.get_future().get(), 7);
}

namespace {

QCoro::Task<int> slowValue(int value)
{
    co_await QCoro::sleepFor(std::chrono::milliseconds(1));
    co_return value;
}

QCoro::Task<void> twoGuardedSteps(QObject *owner, QStringList &steps)
{
    const OwnerGuard guard(owner);
    steps << QString::number(co_await guard(slowValue(1)));
    steps << QString::number(co_await guard(slowValue(2)));
}

} // namespace

TEST(CoroutineHandOff, AGuardedAwaitGoesOnWhileItsOwnerLivesAndStopsAsACancellationOnceItIsGone)
{
    QStringList steps;
    QObject owner;
    runTask(twoGuardedSteps(&owner, steps));
    EXPECT_EQ(steps, (QStringList{"1", "2"}));

    steps.clear();
    auto doomed = std::make_unique<QObject>();
    QCoro::Task<void> task = twoGuardedSteps(doomed.get(), steps);
    doomed.reset(); // gone while the first step is awaited
    EXPECT_THROW(runTask(std::move(task)), CancellationError);
    EXPECT_TRUE(steps.isEmpty()) << "nothing after the await ran for an owner that was gone";

    // Detached, the owner's end is silent: no error line, nothing rethrown into the event loop.
    steps.clear();
    doomed = std::make_unique<QObject>();
    detach(twoGuardedSteps(doomed.get(), steps));
    doomed.reset();
    runTask(slowValue(0));
    runTask(slowValue(0));
    EXPECT_TRUE(steps.isEmpty());
}

namespace {

QCoro::Task<void> failsAfterASuspension()
{
    co_await QCoro::sleepFor(std::chrono::milliseconds(1));
    throw std::runtime_error("disk gone");
}

QCoro::Task<int> failsAtOnce()
{
    throw std::logic_error("no store");
    co_return 0;
}

} // namespace

TEST(CoroutineHandOff, WaitingForATaskThatThrowsReturnsWithItsExceptionInsteadOfHanging)
{
    // The quit waits this way for the store's close; before, a close that threw hung the quit.
    EXPECT_THROW(waitForTask(failsAfterASuspension()), std::runtime_error);
    EXPECT_THROW(waitForTask(failsAtOnce()), std::logic_error);
    EXPECT_EQ(waitForTask(slowValue(5)), 5);
}
