#pragma once
// Runs a task to its end from code that is no coroutine (the end of main(), a test, a
// benchmark), spinning a local event loop meanwhile, and rethrows what the task threw.
// QCoro::waitFor of QCoro 0.8 never returns when the awaited task throws: a quit that waited for
// a failing close that way would hang for ever.

#include <QCoroTask>
#include <QEventLoop>

#include <exception>
#include <optional>
#include <type_traits>
#include <utility>

namespace WaitForTaskDetail {

template <typename T>
QCoro::Task<void> drive(QCoro::Task<T> task, QEventLoop &loop, bool &done,
                        std::optional<std::conditional_t<std::is_void_v<T>, bool, T>> &result, std::exception_ptr &error)
{
    try {
        if constexpr (std::is_void_v<T>) {
            co_await std::move(task);
            result.emplace(true);
        } else {
            result.emplace(co_await std::move(task));
        }
    } catch (...) {
        error = std::current_exception();
    }
    done = true;
    loop.quit();
}

} // namespace WaitForTaskDetail

template <typename T>
T waitForTask(QCoro::Task<T> task)
{
    QEventLoop loop;
    bool done = false;
    std::optional<std::conditional_t<std::is_void_v<T>, bool, T>> result;
    std::exception_ptr error;
    WaitForTaskDetail::drive(std::move(task), loop, done, result, error);
    if (!done)
        loop.exec();
    if (error)
        std::rethrow_exception(error);
    if constexpr (!std::is_void_v<T>)
        return std::move(*result);
}
