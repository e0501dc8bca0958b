#pragma once
// Runs a coroutine to its end from a test, spinning the event loop meanwhile, and rethrows what it
// threw: the application's own waitForTask (QCoro::waitFor of QCoro 0.8 never returns when the
// awaited task throws, so it is not used).

#include "Support/WaitForTask.h"

template <typename T>
T runTask(QCoro::Task<T> task)
{
    return waitForTask(std::move(task));
}
