#include "Support/Task.h"

#include "Support/Log.h"

CancellationToken::CancellationToken() : m_state(std::make_shared<State>()) {}

bool CancellationToken::isCancelled() const { return m_state->cancelled.load(); }

void CancellationToken::checkCancellation() const
{
    if (isCancelled())
        throw CancellationError();
}

void CancellationToken::onCancel(std::function<void()> fn) const
{
    {
        std::lock_guard lock(m_state->mutex);
        if (!m_state->cancelled.load()) {
            m_state->callbacks.push_back(std::move(fn));
            return;
        }
    }
    fn();
}

TaskHandle::TaskHandle() : m_state(std::make_shared<CancellationToken::State>()) {}

void TaskHandle::cancel()
{
    std::vector<std::function<void()>> callbacks;
    {
        std::lock_guard lock(m_state->mutex);
        if (m_state->cancelled.exchange(true))
            return;
        callbacks.swap(m_state->callbacks);
    }
    for (auto &fn : callbacks)
        fn();
}

namespace {

// Parameters live in the coroutine frame, so the body outlives the caller's copy.
QCoro::Task<void> runOwned(std::function<QCoro::Task<void>(CancellationToken)> body, CancellationToken token)
{
    try {
        co_await body(token);
    } catch (const CancellationError &) {
    } catch (...) {
        LUMEVAR_ERROR(Log::app(), "Unhandled error in a background task: %@", errorFromCurrentException());
    }
}

QCoro::Task<void> runDetached(QCoro::Task<void> task)
{
    try {
        co_await std::move(task);
    } catch (const CancellationError &) {
    } catch (...) {
        LUMEVAR_ERROR(Log::app(), "Unhandled error in a background task: %@", errorFromCurrentException());
    }
}

} // namespace

TaskHandle startTask(std::function<QCoro::Task<void>(CancellationToken)> body)
{
    TaskHandle handle;
    runOwned(std::move(body), handle.token());
    return handle;
}

void detach(QCoro::Task<void> task) { runDetached(std::move(task)); }
