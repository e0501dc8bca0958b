#pragma once
// Runs a function on a thread pool and awaits its result from any thread, with or without an
// event loop (see HandBack): QCoro's own QFuture awaiter resumes through a QFutureWatcher, whose
// signal never arrives on a thread that runs no event loop. Exceptions arrive as themselves.

#include "Support/CallOutcome.h"
#include "Support/HandBack.h"
#include "Support/PoolJobs.h"

#include <QCoroTask>
#include <QThreadPool>

#include <memory>
#include <type_traits>

template <typename Fn>
auto runOnPool(QThreadPool &pool, Fn fn) -> QCoro::Task<std::invoke_result_t<Fn &>>
{
    using Result = std::invoke_result_t<Fn &>;
    auto outcome = std::make_shared<CallOutcome<Result>>();
    HandBack done;
    startOnPool(pool, [fn = std::move(fn), outcome, done]() mutable {
        outcome->capture(fn);
        done.finish();
    });
    co_await done;
    co_return outcome->take();
}
