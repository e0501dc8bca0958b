#pragma once
// The end of work that runs on another thread, awaited by one coroutine. The awaiter resumes on
// its own thread: through that thread's event loop when it runs one, so a thread with a window
// never blocks; by waiting, without spinning, when it runs none (a pool's worker, a plain
// std::thread), since an event posted to such a thread would never be delivered. A thread with
// an event loop gets one object that receives those events, made the first time it awaits; a
// thread without one never gets such an object and never waits for one.

#include <coroutine>
#include <memory>

class HandBack {
public:
    HandBack();

    // Called once, on any thread, when the work has ended (its result already stored).
    void finish() const;

    class Awaiter {
    public:
        bool await_ready() const noexcept;
        bool await_suspend(std::coroutine_handle<> awaiting) noexcept;
        // Takes the state's lock once more: what the work stored before finish() is then seen by
        // the resumed coroutine through a synchronisation every checker knows (a queued event's
        // own hand-over happens inside Qt, which a thread sanitizer does not see).
        void await_resume() const noexcept;

    private:
        friend class HandBack;
        explicit Awaiter(std::shared_ptr<struct HandBackState> state) : m_state(std::move(state)) {}
        std::shared_ptr<struct HandBackState> m_state;
    };
    Awaiter operator co_await() const { return Awaiter(m_state); }

    // Whether a call queued to the current thread runs: the application's thread once an
    // application object exists, or a thread inside QThread::exec() or a QEventLoop.
    static bool currentThreadRunsEventLoop();

private:
    std::shared_ptr<struct HandBackState> m_state;
};
