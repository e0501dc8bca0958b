#pragma once
// Runs a function on a thread pool and awaits its result from any thread, with or without an
// event loop (see HandBack): QCoro's own QFuture awaiter resumes through a QFutureWatcher, whose
// signal never arrives on a thread that runs no event loop. Exceptions arrive as themselves.

#include "Support/HandBack.h"

#include <QCoroTask>
#include <QThreadPool>

#include <exception>
#include <memory>
#include <optional>
#include <type_traits>

template <typename Fn>
auto runOnPool(QThreadPool &pool, Fn fn) -> QCoro::Task<std::invoke_result_t<Fn &>>
{
    using Result = std::invoke_result_t<Fn &>;
    struct Outcome {
        std::optional<std::conditional_t<std::is_void_v<Result>, bool, Result>> value;
        std::exception_ptr error;
    };
    auto outcome = std::make_shared<Outcome>();
    HandBack done;
    pool.start([fn = std::move(fn), outcome, done]() mutable {
        try {
            if constexpr (std::is_void_v<Result>) {
                fn();
                outcome->value.emplace(true);
            } else {
                outcome->value.emplace(fn());
            }
        } catch (...) {
            outcome->error = std::current_exception();
        }
        done.finish();
    });
    co_await done;
    if (outcome->error)
        std::rethrow_exception(outcome->error);
    if constexpr (!std::is_void_v<Result>) {
        Result result = std::move(*outcome->value);
        co_return result;
    }
}
