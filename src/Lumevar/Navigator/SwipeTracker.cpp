#include "Lumevar/Navigator/SwipeTracker.h"

#include "Support/Clock.h"
#include "Support/Log.h"

bool SwipeTracker::beginTracking(unsigned phase)
{
    if (!(phase & (scrollPhaseBegan | scrollPhaseChanged)))
        return false;
    if (m_started)
        return false; // an event inside the swipe already being tracked
    LUMEVAR_INFO(Log::app(), "Horizontal swipe did begin");
    // A swipe whose first event was not seen (only "changed") stays unstarted: the first
    // call of its stream ends it without navigating.
    if (phase & scrollPhaseBegan) {
        m_started = true;
        m_startDate = m_clock.now();
    }
    return true;
}

SwipeTracker::Step SwipeTracker::handle(double amount, unsigned phase)
{
    Step step;
    if (!m_started) {
        step.stop = true;
        return step;
    }
    if (m_clock.now() - m_startDate >= maximumDuration) {
        m_started = false;
        step.stop = true;
    } else if (amount >= threshold) {
        step.navigation = Navigation::left;
        m_started = false;
        step.stop = true;
    } else if (amount <= -threshold) {
        step.navigation = Navigation::right;
        m_started = false;
        step.stop = true;
    }
    if (phase == scrollPhaseNone) {
        m_started = false;
        step.stop = true;
    }
    return step;
}
