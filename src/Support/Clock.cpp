#include "Support/Clock.h"

#include "Support/Task.h"

#include <QCoroSignal>
#include <QDateTime>
#include <QTimer>
#include <cmath>

namespace {

class TimerCall final : public ScheduledCall {
public:
    TimerCall(double delay, std::function<void()> fn, double repeatInterval)
        : m_fn(std::move(fn)), m_repeatInterval(repeatInterval)
    {
        m_timer.setTimerType(Qt::PreciseTimer);
        m_timer.setSingleShot(true);
        QObject::connect(&m_timer, &QTimer::timeout, [this] {
            if (m_repeatInterval > 0) {
                m_timer.start(milliseconds(m_repeatInterval));
            }
            // Copy first: fn may destroy this call.
            auto fn = m_fn;
            fn();
        });
        m_timer.start(milliseconds(delay));
    }

private:
    static int milliseconds(double seconds) { return int(std::lround(std::max(0.0, seconds) * 1000.0)); }
    QTimer m_timer;
    std::function<void()> m_fn;
    double m_repeatInterval;
};

// Emits fired() once; the bridge between a scheduled call and an awaiting coroutine.
class Waker : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;
Q_SIGNALS:
    void fired();
};

Clock *installedClock = nullptr;

} // namespace

void Clock::callAfter(double delay, QObject *context, std::function<void()> fn)
{
    // The call owns itself and is released after it ran or when the context is gone.
    auto holder = std::make_shared<std::unique_ptr<ScheduledCall>>();
    QPointer<QObject> guard(context);
    *holder = schedule(delay, [holder, guard, fn = std::move(fn)]() mutable {
        auto keepAlive = std::move(*holder);
        if (guard)
            fn();
    });
}

QCoro::Task<void> Clock::sleep(double seconds)
{
    co_await sleep(seconds, CancellationToken());
}

QCoro::Task<void> Clock::sleep(double seconds, CancellationToken token)
{
    token.checkCancellation();
    Waker waker;
    auto call = schedule(seconds, [&waker] { Q_EMIT waker.fired(); });
    token.onCancel([waker = QPointer<Waker>(&waker)] {
        // Cancellation may come from another thread; wake the coroutine on its own.
        if (waker)
            QMetaObject::invokeMethod(waker, &Waker::fired, Qt::QueuedConnection);
    });
    co_await qCoro(&waker, &Waker::fired);
    call.reset();
    token.checkCancellation();
}

Clock &Clock::shared()
{
    static SystemClock systemClock;
    return installedClock ? *installedClock : systemClock;
}

void Clock::setShared(Clock *clock) { installedClock = clock; }

double SystemClock::now() const
{
    return double(QDateTime::currentMSecsSinceEpoch()) / 1000.0 - referenceDateOffsetFromUnixEpoch;
}

std::unique_ptr<ScheduledCall> SystemClock::schedule(double delay, std::function<void()> fn, double repeatInterval)
{
    return std::make_unique<TimerCall>(delay, std::move(fn), repeatInterval);
}

#include "Clock.moc"
