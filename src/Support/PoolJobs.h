#pragma once
// Handing work to a thread pool so that every hand-over is one a thread sanitizer sees. A job
// reaches its thread through the pool's queue, and a QFuture's end and QtConcurrent's kernels
// pass through locks inside Qt, which it cannot see (see ThreadSanitizer.h). Here the way in is
// annotated and the way back goes through a std::mutex.

#include "Support/HandBack.h"
#include "Support/ThreadSanitizer.h"

#include <QThreadPool>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

namespace PoolJobsDetail {

// The job as the pool holds it. It acquires on its own address, where the caller released once
// it was built: a job read from any other field would be read before the acquire. Holding fn
// through a pointer keeps it out of std::function's small buffer, so that address stays put.
template <typename Fn>
struct SeenJob {
    std::shared_ptr<Fn> fn;
    void operator()()
    {
        ThreadSanitizer::acquire(this);
        (*fn)();
    }
};

} // namespace PoolJobsDetail

// Starts fn on pool; fn sees what the caller wrote before the call.
template <typename Fn>
void startOnPool(QThreadPool &pool, Fn fn)
{
    using Job = PoolJobsDetail::SeenJob<Fn>;
    std::function<void()> job = Job{std::make_shared<Fn>(std::move(fn))};
    ThreadSanitizer::release(job.template target<Job>());
    pool.start(std::move(job));
}

namespace PoolJobsDetail {

// What the caller of forEachOnPool shares with its helpers. A helper that starts once the caller
// has finished leaves at once: the caller waits only for helpers that took part, never for one
// still queued behind other work, and no helper touches the caller's fn after it returned.
struct ForEach {
    std::atomic<qsizetype> next{0};
    std::mutex mutex;
    std::condition_variable idle;
    int working = 0;
    bool finished = false;
    std::exception_ptr error;

    bool join()
    {
        const std::lock_guard lock(mutex);
        if (finished)
            return false;
        ++working;
        return true;
    }
    void leave(std::exception_ptr failure)
    {
        // Notified under the lock: the caller may go as soon as it sees no helper working.
        const std::lock_guard lock(mutex);
        if (failure && !error)
            error = failure;
        if (--working == 0)
            idle.notify_all();
    }
    void finish()
    {
        std::unique_lock lock(mutex);
        idle.wait(lock, [this] { return working == 0; });
        finished = true;
    }
};

} // namespace PoolJobsDetail

// Calls fn(i) for every i in [0, count) on pool's threads and the calling one, and returns when
// every call has ended, rethrowing the first exception one threw; what the calls wrote is then
// the caller's. The caller takes its share of the calls, so a pool busy with other work only
// slows it down, and a helper still queued when the calls are done is not waited for.
template <typename Fn>
void forEachOnPool(QThreadPool &pool, qsizetype count, Fn fn)
{
    if (count <= 0)
        return;
    const qsizetype helperCount = std::min<qsizetype>(count - 1, pool.maxThreadCount());
    // Indexes are taken in blocks, so that the threads do not contend for the counter each call.
    const qsizetype block = std::max<qsizetype>(1, count / (64 * (helperCount + 1)));
    auto shared = std::make_shared<PoolJobsDetail::ForEach>();
    const auto work = [&fn, count, block](PoolJobsDetail::ForEach &state) {
        for (qsizetype begin; (begin = state.next.fetch_add(block, std::memory_order_relaxed)) < count;) {
            for (qsizetype i = begin, end = std::min(count, begin + block); i < end; ++i)
                fn(i);
        }
    };
    // One thread's part of the loop; a failure stops the others at their next block.
    const auto share = [work, count](PoolJobsDetail::ForEach &state) -> std::exception_ptr {
        try {
            work(state);
            return {};
        } catch (...) {
            state.next.store(count);
            return std::current_exception();
        }
    };
    for (qsizetype h = 0; h < helperCount; ++h) {
        startOnPool(pool, [shared, share] {
            if (shared->join())
                shared->leave(share(*shared));
        });
    }
    std::exception_ptr failure = share(*shared);
    shared->finish();
    if (!failure)
        failure = shared->error;
    if (failure)
        std::rethrow_exception(failure);
}

// The value of one job on a pool, for any number of waiters: coroutines co_await ended() and
// resume on their own thread (HandBack); a thread may block in get(). The way back goes through
// a std::mutex, unlike a QFuture's, whose end and reference count are kept inside Qt. Copies
// share the job.
template <typename T>
class PoolResult {
public:
    PoolResult() = default;

    template <typename Fn>
    static PoolResult start(QThreadPool &pool, Fn fn)
    {
        PoolResult result;
        result.m_state = std::make_shared<State>();
        startOnPool(pool, [state = result.m_state, fn = std::move(fn)]() mutable {
            std::optional<T> value;
            std::exception_ptr error;
            try {
                value.emplace(fn());
            } catch (...) {
                error = std::current_exception();
            }
            std::vector<HandBack> waiting;
            {
                const std::lock_guard lock(state->mutex);
                state->value = std::move(value);
                state->error = error;
                state->done = true;
                waiting.swap(state->waiting);
            }
            state->ended.notify_all();
            for (const HandBack &waiter : waiting)
                waiter.finish();
        });
        return result;
    }

    // Finished once the job has ended (at once if it has).
    HandBack ended() const
    {
        HandBack waiter;
        {
            const std::lock_guard lock(m_state->mutex);
            if (!m_state->done) {
                m_state->waiting.push_back(waiter);
                return waiter;
            }
        }
        waiter.finish();
        return waiter;
    }

    // Waits for the job's end; its value, or what it threw, rethrown.
    T get() const
    {
        std::unique_lock lock(m_state->mutex);
        m_state->ended.wait(lock, [this] { return m_state->done; });
        if (m_state->error)
            std::rethrow_exception(m_state->error);
        return *m_state->value;
    }

private:
    struct State {
        std::mutex mutex;
        std::condition_variable ended;
        bool done = false;
        std::optional<T> value;
        std::exception_ptr error;
        std::vector<HandBack> waiting;
    };
    std::shared_ptr<State> m_state;
};
