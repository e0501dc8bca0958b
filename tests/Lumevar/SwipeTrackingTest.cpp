// The two-finger swipe on the manual clock: the tracker's 3-second limit and its start rules, and
// the wheel input that takes the platform's phases where it reports them. (Swipes without phases,
// as X11 delivers them, are tested through the window.)

#include "Lumevar/Navigator/WheelSwipeInput.h"
#include "TestKit/ManualClock.h"

#include <gtest/gtest.h>

using Navigation = SwipeTracker::Navigation;

TEST(SwipeTrackerTest, ASlowSwipeAnUnseenStartAndAnEndAloneNavigateNothing)
{
    ManualClock clock;
    SwipeTracker tracker(clock);
    ASSERT_TRUE(tracker.beginTracking(scrollPhaseBegan));
    clock.advance(3.0);
    SwipeTracker::Step step = tracker.handle(1.0, scrollPhaseChanged);
    EXPECT_EQ(step.navigation, Navigation::none);
    EXPECT_TRUE(step.stop);

    // First seen event only "changed": taken, then ended at the first call.
    ASSERT_TRUE(tracker.beginTracking(scrollPhaseChanged));
    step = tracker.handle(1.0, scrollPhaseChanged);
    EXPECT_EQ(step.navigation, Navigation::none);
    EXPECT_TRUE(step.stop);

    EXPECT_FALSE(tracker.beginTracking(scrollPhaseEnded));

    // The gesture ends (phase none) below the threshold: tracking stops without navigating.
    ASSERT_TRUE(tracker.beginTracking(scrollPhaseBegan));
    step = tracker.handle(0.05, scrollPhaseNone);
    EXPECT_EQ(step.navigation, Navigation::none);
    EXPECT_TRUE(step.stop);
    EXPECT_FALSE(tracker.isTracking());
}

class WheelSwipeInputTest : public ::testing::Test {
protected:
    ManualClock clock;
    QList<Navigation> navigations;
    WheelSwipeInput input{clock, [this](Navigation n) { navigations.append(n); }};
    using Phase = WheelSwipeInput::PlatformPhase;

    bool event(double dx, double dy = 0, Phase phase = Phase::unknown)
    {
        clock.advance(0.016);
        return input.feed(dx, dy, phase, 400);
    }
};

TEST_F(WheelSwipeInputTest, PlatformPhasesAreTakenAsGiven)
{
    // A gesture whose beginning was not seen is never tracked to a navigation.
    EXPECT_TRUE(event(30, 0, Phase::changed));
    EXPECT_TRUE(event(30, 0, Phase::changed));
    EXPECT_TRUE(navigations.isEmpty());
    EXPECT_TRUE(event(0, 0, Phase::ended));

    EXPECT_TRUE(event(5, 0, Phase::began));
    EXPECT_TRUE(event(-40, 0, Phase::changed));
    EXPECT_EQ(navigations, QList<Navigation>{Navigation::right});
    EXPECT_TRUE(event(0, 0, Phase::ended));
    // An end with no gesture under way is ordinary scrolling.
    EXPECT_FALSE(event(0, 0, Phase::ended));
}
