// The two-finger swipe on the manual clock: the tracker's thresholds, its 3-second limit and
// its start rules, and the wheel input that makes the phases up from the gaps between events
// where the platform reports none.

#include "Lumevar/Navigator/WheelSwipeInput.h"
#include "TestKit/ManualClock.h"

#include <gtest/gtest.h>

using Navigation = SwipeTracker::Navigation;

TEST(SwipeTrackerTest, NavigatesOnceTheAmountCrossesEitherThreshold)
{
    ManualClock clock;
    SwipeTracker tracker(clock);
    ASSERT_TRUE(tracker.beginTracking(scrollPhaseBegan));
    SwipeTracker::Step step = tracker.handle(0.0799, scrollPhaseChanged);
    EXPECT_EQ(step.navigation, Navigation::none);
    EXPECT_FALSE(step.stop);
    // Events inside the tracked swipe do not start another.
    EXPECT_FALSE(tracker.beginTracking(scrollPhaseChanged));
    step = tracker.handle(0.08, scrollPhaseChanged);
    EXPECT_EQ(step.navigation, Navigation::left);
    EXPECT_TRUE(step.stop);
    EXPECT_FALSE(tracker.isTracking());

    ASSERT_TRUE(tracker.beginTracking(scrollPhaseBegan));
    step = tracker.handle(-0.08, scrollPhaseChanged);
    EXPECT_EQ(step.navigation, Navigation::right);
    EXPECT_TRUE(step.stop);
}

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

TEST_F(WheelSwipeInputTest, ATouchpadGestureWithoutPhasesNavigatesOncePerGesture)
{
    // 8 pixels a frame on a 400-point strip: the fourth event passes 0.08 leftward.
    EXPECT_TRUE(event(8));
    EXPECT_TRUE(event(8));
    EXPECT_TRUE(event(8));
    EXPECT_TRUE(navigations.isEmpty());
    EXPECT_TRUE(event(8));
    EXPECT_EQ(navigations, QList<Navigation>{Navigation::left});
    // The rest of the gesture is swallowed and moves nothing more.
    for (int i = 0; i < 20; ++i)
        EXPECT_TRUE(event(8));
    EXPECT_EQ(navigations.size(), 1);

    // A quiet gap ends the gesture; the next one may navigate again, the other way.
    clock.advance(WheelSwipeInput::gestureGap + 0.01);
    for (int i = 0; i < 4; ++i)
        event(-10);
    EXPECT_EQ(navigations, (QList<Navigation>{Navigation::left, Navigation::right}));
}

TEST_F(WheelSwipeInputTest, VerticalScrollingAndShortSwipesAreLeftAlone)
{
    EXPECT_FALSE(event(1, 20));
    EXPECT_FALSE(event(0, -30));
    clock.advance(1);
    // A short horizontal nudge that ends: no navigation, and the next gesture starts afresh.
    EXPECT_TRUE(event(10));
    clock.advance(WheelSwipeInput::gestureGap + 0.01);
    EXPECT_TRUE(navigations.isEmpty());
    EXPECT_EQ(clock.pendingCalls(), 0);
}

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
