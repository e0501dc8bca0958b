#include "TestKit/ManualClock.h"

#include <QCoreApplication>
#include <QEventLoop>

class ManualClock::Call final : public ScheduledCall {
public:
    Call(ManualClock *clock, std::uint64_t id) : m_clock(clock), m_id(id), m_alive(clock->m_alive) {}
    ~Call() override
    {
        if (auto alive = m_alive.lock())
            m_clock->m_pending.erase(m_id);
    }

private:
    ManualClock *m_clock;
    std::uint64_t m_id;
    std::weak_ptr<bool> m_alive;
};

ManualClock::ManualClock(double start) : m_now(start), m_alive(std::make_shared<bool>(true)) {}

ManualClock::~ManualClock()
{
    if (&Clock::shared() == this)
        Clock::setShared(nullptr);
}

std::unique_ptr<ScheduledCall> ManualClock::schedule(double delay, std::function<void()> fn, double repeatInterval)
{
    const auto id = m_nextId++;
    m_pending.emplace(id, Pending{m_now + std::max(0.0, delay), repeatInterval, std::move(fn)});
    return std::make_unique<Call>(this, id);
}

void ManualClock::advance(double seconds)
{
    const double end = m_now + seconds;
    QCoreApplication::processEvents();
    for (;;) {
        // The earliest due call, oldest first among equals.
        auto next = m_pending.end();
        for (auto it = m_pending.begin(); it != m_pending.end(); ++it)
            if (it->second.due <= end && (next == m_pending.end() || it->second.due < next->second.due))
                next = it;
        if (next == m_pending.end())
            break;
        m_now = std::max(m_now, next->second.due);
        auto fn = next->second.fn;
        if (next->second.repeatInterval > 0)
            next->second.due = m_now + next->second.repeatInterval;
        else
            next->second.fn = nullptr, next->second.due = std::numeric_limits<double>::infinity();
        fn();
        QCoreApplication::processEvents();
    }
    m_now = end;
    QCoreApplication::processEvents();
}
