#include "LumevarCore/StoreThread.h"

#include <QMetaObject>
#include <QObject>
#include <QPointer>

#include <chrono>

namespace {

using Clock = std::chrono::steady_clock;

// How long the worker looks for a next job before it sleeps: the calls of a burst (a search
// per keystroke, a sync's batches, a list and its selection) then find it awake.
constexpr auto workerStaysAwake = std::chrono::microseconds(200);
// How long the awaiting thread watches for the end of a job before it lets its event loop
// sleep: longer than a short call takes, far shorter than a frame.
constexpr auto awaiterWatches = std::chrono::microseconds(100);

enum State : int { pending, done, awaiting };

// An object of the awaiting thread, through whose event loop a late job resumes its awaiter.
QObject *threadContext()
{
    thread_local QObject context;
    return &context;
}

// Waits until ready() holds or the time is up, giving the processor away between looks so that
// a machine with fewer free processors than waiting threads still runs the job.
template <typename Ready>
bool watch(std::chrono::microseconds duration, const Ready &ready)
{
    const auto deadline = Clock::now() + duration;
    do {
        if (ready())
            return true;
        std::this_thread::yield();
    } while (Clock::now() < deadline);
    return ready();
}

} // namespace

struct StoreThread::Completion {
    std::atomic<int> state{pending};
    std::coroutine_handle<> awaiting;
    QPointer<QObject> context;
};

StoreThread::StoreThread() : m_thread([this] { loop(); }) {}

StoreThread::~StoreThread()
{
    {
        std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    m_wake.notify_one();
    m_thread.join();
}

StoreThread::Done StoreThread::post(std::function<void()> work)
{
    auto completion = std::make_shared<Completion>();
    bool wake = false;
    {
        std::lock_guard lock(m_mutex);
        m_jobs.push_back(Job{std::move(work), completion});
        m_queued.fetch_add(1, std::memory_order_release);
        wake = m_sleeping;
    }
    if (wake)
        m_wake.notify_one();
    return Done(std::move(completion));
}

void StoreThread::loop()
{
    for (;;) {
        Job job;
        {
            std::unique_lock lock(m_mutex);
            if (m_jobs.empty() && !m_stopping) {
                lock.unlock();
                watch(workerStaysAwake, [this] { return m_queued.load(std::memory_order_acquire) > 0; });
                lock.lock();
                m_sleeping = true;
                m_wake.wait(lock, [this] { return !m_jobs.empty() || m_stopping; });
                m_sleeping = false;
            }
            if (m_jobs.empty())
                return; // stopping, and nothing left to run
            job = std::move(m_jobs.front());
            m_jobs.pop_front();
            m_queued.fetch_sub(1, std::memory_order_relaxed);
        }
        job.work();
        finish(*job.completion);
    }
}

void StoreThread::finish(Completion &completion)
{
    // The awaiter either sees done before it suspends and goes on by itself, or it has already
    // left its handle and context, and is resumed through its thread's event loop.
    if (completion.state.exchange(done, std::memory_order_acq_rel) != awaiting)
        return;
    const std::coroutine_handle<> awaiting = completion.awaiting;
    if (QObject *context = completion.context.data())
        QMetaObject::invokeMethod(context, [awaiting] { awaiting.resume(); }, Qt::QueuedConnection);
}

bool StoreThread::Done::await_ready() const noexcept { return m_completion->state.load(std::memory_order_acquire) == done; }

bool StoreThread::Done::await_suspend(std::coroutine_handle<> awaiting) noexcept
{
    Completion &completion = *m_completion;
    if (watch(awaiterWatches, [&completion] { return completion.state.load(std::memory_order_acquire) == done; }))
        return false;
    completion.awaiting = awaiting;
    completion.context = threadContext();
    int expected = pending;
    // Fails only when the job ended meanwhile: then go on at once.
    return completion.state.compare_exchange_strong(expected, State::awaiting, std::memory_order_acq_rel);
}
