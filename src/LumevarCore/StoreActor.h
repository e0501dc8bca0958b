#pragma once
// The executor behind LocalDatabase: one worker thread that owns the SQLite connection and runs
// one job at a time, in the order the jobs were handed in. A job's result or exception travels
// back to the awaiting coroutine, which resumes on its own thread.

#include "LumevarCore/StoreState.h"
#include "LumevarCore/StoreThread.h"
#include "Support/CallOutcome.h"

#include <QCoroTask>

#include <exception>
#include <memory>
#include <optional>
#include <type_traits>

class StoreActor {
public:
    StoreActor() = default;

    enum class Access { read, write, unchecked };

    // Runs job(state) on the worker. Throws what the job threw; StoreError when the store is not
    // open (with the reason open() failed, if it did). A write that throws has rolled its
    // transaction back, so the song records it may have touched are dropped with it.
    template <typename Job>
    auto run(Job job, Access access = Access::read) -> QCoro::Task<std::invoke_result_t<Job &, StoreState &>>
    {
        using Result = std::invoke_result_t<Job &, StoreState &>;
        return runOn<Result>(std::move(job), access);
    }

    // The store's table of repeated texts, for work on other threads (thread-safe, never replaced).
    std::shared_ptr<TextKeys::RepeatedTexts> repeatedTexts() const { return m_state.repeatedTexts; }

private:
    template <typename Result, typename Job>
    QCoro::Task<Result> runOn(Job job, Access access)
    {
        // Exceptions are caught on the worker and carried as values, so that they arrive as
        // themselves on the awaiting thread.
        auto outcome = std::make_shared<CallOutcome<Result>>();
        HandBack done = m_thread.post([this, job = std::move(job), access, outcome]() mutable {
            const bool succeeded = outcome->capture([&]() -> Result {
                if (access != Access::unchecked && !m_state.db.isOpen()) {
                    if (m_state.openFailure)
                        throw *m_state.openFailure;
                    throw StoreError(StoreError::notOpen, QStringLiteral("The store is not open"));
                }
                return job(m_state);
            });
            // A write that failed part-way leaves the records and the index in doubt.
            if (!succeeded && access == Access::write) {
                m_state.songs.forget();
                m_state.songIndex.forget();
            }
        });
        co_await done;
        co_return outcome->take();
    }

    StoreState m_state;
    StoreThread m_thread; // last: its jobs are done before the state goes
};
