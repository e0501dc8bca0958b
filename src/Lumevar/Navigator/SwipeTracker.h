#pragma once
// The two-finger horizontal swipe of the pane strip as a state machine over a stream of
// (amount, phase) calls, on the injected clock. A swipe is taken only when its first event was
// seen (phase "began"); it navigates at most once, as soon as the amount crosses ±0.08 (a
// positive amount asks for the pane to the left), and is void once it took 3 seconds or more.
// The strip does not follow the finger: between the thresholds nothing moves.
//
// The phases are a bit set, as the platform's scroll phases: began 1, stationary 2, changed 4,
// ended 8, cancelled 16, may-begin 32; 0 is "none", the call that closes a gesture.

class Clock;

enum ScrollPhase : unsigned {
    scrollPhaseNone = 0,
    scrollPhaseBegan = 1,
    scrollPhaseStationary = 2,
    scrollPhaseChanged = 4,
    scrollPhaseEnded = 8,
    scrollPhaseCancelled = 16,
    scrollPhaseMayBegin = 32,
};

class SwipeTracker {
public:
    static constexpr double threshold = 0.08;    // of the strip's width
    static constexpr double maximumDuration = 3.0; // seconds from the first event

    enum class Navigation { none, left, right };
    struct Step {
        Navigation navigation = Navigation::none;
        bool stop = false; // the stream ends here: no more calls for this swipe
    };

    explicit SwipeTracker(Clock &clock) : m_clock(clock) {}

    // A scroll event arrives. True when it starts a tracked swipe (the caller then feeds the
    // event and the ones after it to handle() until a step says stop); false when the event is
    // not a swipe's start and goes on to ordinary scrolling.
    bool beginTracking(unsigned phase);
    // One call of the tracked stream: amount so far and the phase of this event.
    Step handle(double amount, unsigned phase);
    bool isTracking() const { return m_started; }

private:
    Clock &m_clock;
    bool m_started = false;
    double m_startDate = 0;
};
