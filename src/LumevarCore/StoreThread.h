#pragma once
// The store's one worker thread: a QThread running its event loop. Jobs wait in a queue of our
// own; a posted event that carries nothing wakes the worker, which runs them one at a time in the
// order they were handed in. Each job's end is handed back to the coroutine that awaits it
// (HandBack), which resumes on its own thread. No side spins: an idle store thread sleeps in its
// event loop, and a waiting main thread in its own.

#include "Support/HandBack.h"

#include <deque>
#include <functional>
#include <memory>
#include <mutex>

class QObject;
class QThread;

class StoreThread {
public:
    StoreThread();
    // Runs the jobs already handed in, then stops the thread.
    ~StoreThread();
    StoreThread(const StoreThread &) = delete;
    StoreThread &operator=(const StoreThread &) = delete;

    // Queues work for the worker; `co_await post(work)` waits for its end. work must not throw.
    HandBack post(std::function<void()> work);

private:
    class Worker;
    struct Job {
        std::function<void()> work;
        HandBack done;
    };
    // On the worker: runs every queued job, then stops the thread once it is asked to.
    void runQueued();

    std::mutex m_mutex;
    std::deque<Job> m_jobs;
    bool m_stopping = false;
    std::unique_ptr<QThread> m_thread;
    QObject *m_worker; // lives on m_thread; deleted once it has stopped
};
