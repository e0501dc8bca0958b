#pragma once
// Runs a coroutine to its end from a test, spinning the event loop meanwhile, and rethrows what it
// threw. (QCoro::waitFor of QCoro 0.8 never returns when the awaited task throws, so it is not used.)

#include <QCoroTask>
#include <QEventLoop>
#include <exception>
#include <optional>

namespace TestKitDetail {

template <typename T>
QCoro::Task<void> drive(QCoro::Task<T> task, QEventLoop &loop, bool &done, std::optional<T> &result,
                        std::exception_ptr &error)
{
    try {
        result.emplace(co_await std::move(task));
    } catch (...) {
        error = std::current_exception();
    }
    done = true;
    loop.quit();
}

inline QCoro::Task<void> drive(QCoro::Task<void> task, QEventLoop &loop, bool &done, std::exception_ptr &error)
{
    try {
        co_await std::move(task);
    } catch (...) {
        error = std::current_exception();
    }
    done = true;
    loop.quit();
}

} // namespace TestKitDetail

template <typename T>
T runTask(QCoro::Task<T> task)
{
    QEventLoop loop;
    bool done = false;
    std::optional<T> result;
    std::exception_ptr error;
    TestKitDetail::drive(std::move(task), loop, done, result, error);
    if (!done)
        loop.exec();
    if (error)
        std::rethrow_exception(error);
    return std::move(*result);
}

inline void runTask(QCoro::Task<void> task)
{
    QEventLoop loop;
    bool done = false;
    std::exception_ptr error;
    TestKitDetail::drive(std::move(task), loop, done, error);
    if (!done)
        loop.exec();
    if (error)
        std::rethrow_exception(error);
}
