#pragma once
// The store's one worker thread: runs jobs in the order they are handed in, and hands each
// finished job back to the coroutine that awaits it, which resumes on its own thread.
//
// Most store calls take tens of microseconds, and a thread that has gone to sleep takes longer
// than that to wake on a virtual machine (an idle virtual processor is halted and must be
// interrupted). So both sides stay awake a moment: the worker looks for the next job a little
// while before it sleeps, and the awaiting thread watches for a short job's end a little while
// before it lets its event loop sleep. A job still running after that resumes its awaiter
// through the awaiting thread's event loop.

#include <atomic>
#include <condition_variable>
#include <coroutine>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

class QObject;

class StoreThread {
public:
    StoreThread();
    // Runs the jobs already handed in, then stops the thread.
    ~StoreThread();
    StoreThread(const StoreThread &) = delete;
    StoreThread &operator=(const StoreThread &) = delete;

    struct Completion;

    // What `co_await post(work)` waits on: the end of work on the worker.
    class Done {
    public:
        explicit Done(std::shared_ptr<Completion> completion) : m_completion(std::move(completion)) {}
        bool await_ready() const noexcept;
        bool await_suspend(std::coroutine_handle<> awaiting) noexcept;
        void await_resume() const noexcept {}

    private:
        std::shared_ptr<Completion> m_completion;
    };

    // Queues work for the worker. work must not throw.
    Done post(std::function<void()> work);

private:
    struct Job {
        std::function<void()> work;
        std::shared_ptr<Completion> completion;
    };
    void loop();
    static void finish(Completion &completion);

    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::deque<Job> m_jobs;
    std::atomic<int> m_queued{0};
    bool m_sleeping = false;
    bool m_stopping = false;
    std::thread m_thread; // last: starts once the rest is made
};
