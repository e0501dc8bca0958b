#include "Support/HandBack.h"

#include <QCoreApplication>
#include <QEvent>
#include <QObject>
#include <QPointer>
#include <QThread>
#include <QThreadStorage>

#include <condition_variable>
#include <mutex>
#include <vector>

namespace {

// Resumes, on the thread it lives on, the coroutines handed to it from other threads. Made only
// for a thread that runs an event loop, the first time a coroutine there awaits a hand-back.
// The handles travel in a list under a mutex and the posted event carries nothing: a sanitizer
// that cannot see Qt's own locking then still sees every byte handed over.
class Resumer : public QObject {
public:
    void resumeLater(std::coroutine_handle<> awaiting)
    {
        bool wake = false;
        {
            const std::lock_guard lock(m_mutex);
            wake = m_ready.empty();
            m_ready.push_back(awaiting);
        }
        if (wake)
            QCoreApplication::postEvent(this, new QEvent(QEvent::User));
    }

protected:
    void customEvent(QEvent *) override
    {
        std::vector<std::coroutine_handle<>> ready;
        {
            const std::lock_guard lock(m_mutex);
            ready.swap(m_ready);
        }
        for (std::coroutine_handle<> awaiting : ready)
            awaiting.resume();
    }

private:
    std::mutex m_mutex;
    std::vector<std::coroutine_handle<>> m_ready;
};

Resumer *currentResumer()
{
    static QThreadStorage<Resumer *> resumers; // each deleted when its thread ends
    if (!resumers.hasLocalData())
        resumers.setLocalData(new Resumer);
    return resumers.localData();
}

} // namespace

struct HandBackState {
    std::mutex mutex;
    std::condition_variable finished;
    bool done = false;
    // Set when the awaiter suspended to be resumed by its thread's event loop.
    std::coroutine_handle<> awaiting;
    QPointer<Resumer> resumer;
};

HandBack::HandBack() : m_state(std::make_shared<HandBackState>()) {}

void HandBack::finish() const
{
    std::coroutine_handle<> awaiting;
    QPointer<Resumer> resumer;
    {
        const std::lock_guard lock(m_state->mutex);
        m_state->done = true;
        awaiting = std::exchange(m_state->awaiting, {});
        resumer = m_state->resumer;
    }
    m_state->finished.notify_all();
    if (!awaiting)
        return;
    if (Resumer *target = resumer.data())
        target->resumeLater(awaiting);
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
    if (!currentThreadRunsEventLoop()) {
        std::unique_lock lock(m_state->mutex);
        m_state->finished.wait(lock, [this] { return m_state->done; });
        return false;
    }
    Resumer *resumer = currentResumer();
    const std::lock_guard lock(m_state->mutex);
    if (m_state->done)
        return false;
    m_state->awaiting = awaiting;
    m_state->resumer = resumer;
    return true;
}
