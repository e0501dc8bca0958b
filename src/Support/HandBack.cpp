#include "Support/HandBack.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QMetaObject>
#include <QPointer>
#include <QThread>

#include <condition_variable>
#include <mutex>

struct HandBackState {
    std::mutex mutex;
    std::condition_variable finished;
    bool done = false;
    // Set when the awaiter suspended to be resumed by its thread's event loop.
    std::coroutine_handle<> awaiting;
    // The awaiting thread's event dispatcher: an object that lives on that thread for as long
    // as the thread runs, whatever made the thread.
    QPointer<QAbstractEventDispatcher> resumer;
};

HandBack::HandBack() : m_state(std::make_shared<HandBackState>()) {}

void HandBack::finish() const
{
    std::coroutine_handle<> awaiting;
    QPointer<QAbstractEventDispatcher> resumer;
    {
        const std::lock_guard lock(m_state->mutex);
        m_state->done = true;
        awaiting = std::exchange(m_state->awaiting, {});
        resumer = m_state->resumer;
    }
    m_state->finished.notify_all();
    if (!awaiting)
        return;
    if (QAbstractEventDispatcher *dispatcher = resumer.data())
        QMetaObject::invokeMethod(dispatcher, [awaiting] { awaiting.resume(); }, Qt::QueuedConnection);
    // A thread that ended while its coroutine waited has nothing left to resume it on.
}

bool HandBack::currentThreadRunsEventLoop()
{
    QThread *thread = QThread::currentThread();
    if (!thread->eventDispatcher())
        return false;
    const QCoreApplication *application = QCoreApplication::instance();
    return (application && application->thread() == thread) || thread->loopLevel() > 0;
}

bool HandBack::Awaiter::await_ready() const noexcept
{
    const std::lock_guard lock(m_state->mutex);
    return m_state->done;
}

void HandBack::Awaiter::await_resume() const noexcept
{
    const std::lock_guard lock(m_state->mutex);
}

bool HandBack::Awaiter::await_suspend(std::coroutine_handle<> awaiting) noexcept
{
    std::unique_lock lock(m_state->mutex);
    if (m_state->done)
        return false;
    if (!currentThreadRunsEventLoop()) {
        m_state->finished.wait(lock, [this] { return m_state->done; });
        return false;
    }
    m_state->awaiting = awaiting;
    m_state->resumer = QThread::currentThread()->eventDispatcher();
    return true;
}
