#include "Lumevar/Navigator/WheelSwipeInput.h"

#include "Support/Clock.h"

#include <cmath>

WheelSwipeInput::WheelSwipeInput(Clock &clock, std::function<void(SwipeTracker::Navigation)> navigate)
    : m_clock(clock), m_tracker(clock), m_navigate(std::move(navigate))
{
}

WheelSwipeInput::~WheelSwipeInput() = default;

bool WheelSwipeInput::feed(double dx, double dy, PlatformPhase phase, double stripWidth)
{
    m_width = stripWidth > 0 ? stripWidth : 1;
    if (phase == PlatformPhase::ended) {
        const bool consumed = m_inGesture && (m_streaming || m_spent);
        endGesture();
        return consumed;
    }
    const bool horizontal = std::abs(dx) > std::abs(dy);
    if (!m_inGesture && !horizontal)
        return false;

    const bool startsGesture = !m_inGesture || phase == PlatformPhase::began;
    if (startsGesture) {
        m_inGesture = true;
        m_spent = false;
        m_streaming = false;
        m_distance = 0;
    }
    // Without platform phases, the first event after a quiet gap is the beginning.
    const bool began = phase == PlatformPhase::began || (phase == PlatformPhase::unknown && startsGesture);
    const unsigned bits = began ? scrollPhaseBegan : scrollPhaseChanged;
    if (phase == PlatformPhase::unknown)
        m_gapTimer = m_clock.schedule(gestureGap, [this] { endGesture(); });

    if (m_spent)
        return true;
    if (!m_streaming) {
        if (!m_tracker.beginTracking(bits))
            return false;
        m_streaming = true;
    }
    m_distance += dx;
    deliver(bits);
    return true;
}

void WheelSwipeInput::deliver(unsigned phase)
{
    const SwipeTracker::Step step = m_tracker.handle(m_distance / m_width, phase);
    if (step.stop) {
        m_streaming = false;
        m_spent = true;
    }
    if (step.navigation != SwipeTracker::Navigation::none && m_navigate)
        m_navigate(step.navigation);
}

void WheelSwipeInput::endGesture()
{
    if (m_streaming)
        deliver(scrollPhaseNone);
    m_gapTimer.reset();
    m_inGesture = false;
    m_streaming = false;
    m_spent = false;
    m_distance = 0;
}
