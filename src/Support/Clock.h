#pragma once
// Time, injected. Production code asks a Clock for the wall time and for delayed work; tests hand
// in a manual clock that advances on demand, so timing behaviour is exercised without sleeping.

#include <QCoroTask>
#include <QObject>
#include <QPointer>
#include <functional>
#include <memory>

class CancellationToken;

// A scheduled call; destroying the handle cancels it.
class ScheduledCall {
public:
    virtual ~ScheduledCall() = default;
};

class Clock {
public:
    virtual ~Clock() = default;

    // Seconds since 1 January 2001 UTC, the reference date of stored sync stamps.
    virtual double now() const = 0;

    // Runs fn on the calling (main) thread after delay seconds, and then every repeatInterval
    // seconds when that is above 0, until the handle is destroyed.
    [[nodiscard]] virtual std::unique_ptr<ScheduledCall> schedule(double delay, std::function<void()> fn,
                                                                  double repeatInterval = 0) = 0;

    // Runs fn once after delay seconds unless context is gone by then.
    void callAfter(double delay, QObject *context, std::function<void()> fn);

    // Suspends the coroutine for the given seconds on a continuous clock. Throws CancellationError
    // when the token is cancelled before or during the wait.
    QCoro::Task<void> sleep(double seconds);
    QCoro::Task<void> sleep(double seconds, CancellationToken token);

    // The clock of the process: the real one unless a test installed another.
    static Clock &shared();
    static void setShared(Clock *clock); // nullptr restores the system clock
};

// Wall time and QTimer.
class SystemClock final : public Clock {
public:
    double now() const override;
    std::unique_ptr<ScheduledCall> schedule(double delay, std::function<void()> fn, double repeatInterval = 0) override;
};

// Seconds between the Unix epoch and 1 January 2001 UTC.
inline constexpr double referenceDateOffsetFromUnixEpoch = 978307200.0;
