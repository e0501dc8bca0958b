#pragma once
// Turns horizontal wheel and touchpad events into the (amount, phase) stream of SwipeTracker.
//
// - Platforms that report scroll phases (Wayland, macOS) give began/changed/ended; X11 gives
//   none, so a phase is made up from the gaps between events: an event after a quiet gap of
//   gestureGap seconds begins a gesture, the ones that follow change it, and the gesture ends
//   when no event came for gestureGap seconds (a call with phase none, on the injected clock).
// - The amount is the horizontal distance moved since the swipe began, divided by the strip's
//   width; a rightward movement of the fingers (content pulled right) is positive.
// - Once a swipe stopped (navigated, timed out), the rest of its gesture is swallowed, so one
//   gesture navigates at most once.
// - Events that move more vertically than horizontally are not swipes (the lists scroll).

#include "Lumevar/Navigator/SwipeTracker.h"

#include <functional>
#include <memory>

class Clock;
class ScheduledCall;

class WheelSwipeInput {
public:
    static constexpr double gestureGap = 0.2; // seconds without events that end a gesture

    // The phase an event carries when the platform reports one.
    enum class PlatformPhase { unknown, began, changed, ended };

    WheelSwipeInput(Clock &clock, std::function<void(SwipeTracker::Navigation)> navigate);
    ~WheelSwipeInput();

    // One event: horizontal and vertical movement in pixels, the platform's phase and the
    // strip's width. True when the event belongs to a swipe and must not scroll anything.
    bool feed(double dx, double dy, PlatformPhase phase, double stripWidth);

private:
    void endGesture();
    void deliver(unsigned phase);

    Clock &m_clock;
    SwipeTracker m_tracker;
    std::function<void(SwipeTracker::Navigation)> m_navigate;
    std::unique_ptr<ScheduledCall> m_gapTimer;
    bool m_inGesture = false;   // between a gesture's first event and its end
    bool m_streaming = false;   // the tracker takes this gesture's events
    bool m_spent = false;       // the tracker stopped: the rest of the gesture is swallowed
    double m_distance = 0;
    double m_width = 1;
};
