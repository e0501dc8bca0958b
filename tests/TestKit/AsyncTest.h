#pragma once
// Runs a coroutine to its end from a test, spinning the event loop meanwhile, and rethrows what it
// threw (see Support/WaitForTask.h).

#include "Support/WaitForTask.h"

template <typename T>
T runTask(QCoro::Task<T> task)
{
    return waitForTask(std::move(task));
}
