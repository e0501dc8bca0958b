#pragma once
// A clock for tests: time stands still until advance() moves it, and the calls that fall due run
// in time order as it passes. Install it with Clock::setShared or hand it in directly.

#include "Support/Clock.h"

#include <map>

class ManualClock final : public Clock {
public:
    explicit ManualClock(double start = 700000000.0);
    ~ManualClock() override;

    double now() const override { return m_now; }
    std::unique_ptr<ScheduledCall> schedule(double delay, std::function<void()> fn, double repeatInterval = 0) override;

    // Moves time forward by seconds, running every call that falls due on the way (each at its own
    // time), and processes posted events after each so that awakened coroutines go on.
    void advance(double seconds);

private:
    struct Pending {
        double due;
        double repeatInterval;
        std::function<void()> fn;
    };
    class Call;
    double m_now;
    std::uint64_t m_nextId = 0;
    std::map<std::uint64_t, Pending> m_pending;
    std::shared_ptr<bool> m_alive;
};
