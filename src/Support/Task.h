#pragma once
// Cooperative cancellation for coroutines. QCoro tasks cannot be cancelled from outside, so work
// that may be superseded takes a CancellationToken and checks it at its suspension points; the
// owner keeps a TaskHandle and cancels through it.

#include "Support/Error.h"

#include <QCoroTask>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

class CancellationToken {
public:
    // A token that is never cancelled.
    CancellationToken();

    bool isCancelled() const;
    // Throws CancellationError when cancelled.
    void checkCancellation() const;
    // Runs fn (on the cancelling thread) when cancelled, at once if already cancelled.
    void onCancel(std::function<void()> fn) const;

private:
    friend class TaskHandle;
    struct State {
        std::atomic<bool> cancelled{false};
        std::mutex mutex;
        std::vector<std::function<void()>> callbacks;
    };
    explicit CancellationToken(std::shared_ptr<State> state) : m_state(std::move(state)) {}
    std::shared_ptr<State> m_state;
};

// The owner's side of a cancellable operation. Copies share one state.
class TaskHandle {
public:
    TaskHandle();

    CancellationToken token() const { return CancellationToken(m_state); }
    void cancel();
    bool isCancelled() const { return m_state->cancelled.load(); }

private:
    std::shared_ptr<CancellationToken::State> m_state;
};

// Starts a coroutine made by body(token) that nobody awaits, and returns the handle that cancels
// it. An exception escaping the coroutine is logged, never lost silently or rethrown into the
// event loop.
TaskHandle startTask(std::function<QCoro::Task<void>(CancellationToken)> body);

// Keeps a started task running to its end without an owner (fire and forget), logging what escapes.
void detach(QCoro::Task<void> task);
