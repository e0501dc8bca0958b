#include "Support/Animation.h"
#include "Support/Observable.h"

#include <QCoreApplication>
#include <gtest/gtest.h>
#include <stdexcept>

namespace {

// Lets the main event loop take its next turn, where queued change calls run.
void nextTurn()
{
    QCoreApplication::processEvents();
}

struct Call {
    int old;
    int now;
    AnimationContext context;
};

// Records every call of one observation together with the animation context it ran in.
ObservationTrackingToken record(const Observable<int> &field, std::vector<Call> &calls)
{
    return observeChanges(field, [&calls](int old, int now) { calls.push_back({old, now, AnimationContext::current()}); });
}

} // namespace

TEST(Observation, WritesOfOneTurnReachTheObserverAsOneLaterCallWithFirstOldAndLatestValue)
{
    Observable<int> field = 1;
    std::vector<Call> calls;
    auto token = record(field, calls);

    field.set(2);
    field.set(3);
    EXPECT_EQ(field.get(), 3);
    EXPECT_TRUE(calls.empty()) << "the call must come a turn later, not inside the write";
    nextTurn();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].old, 1);
    EXPECT_EQ(calls[0].now, 3);

    // An equal value notifies too; the observer compares by itself.
    field.set(3);
    nextTurn();
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[1].old, 3);
    EXPECT_EQ(calls[1].now, 3);

    nextTurn();
    EXPECT_EQ(calls.size(), 2u) << "no write, no call";
}

TEST(Observation, ChangeInsideAnimationGroupIsReplayedInGroupOfSameDurationAndOthersArePlain)
{
    Observable<int> field;
    std::vector<Call> calls;
    auto token = record(field, calls);

    // The context of the first write of a turn is the one replayed.
    runAnimationGroup(0.3, true, [&] { field.set(1); });
    EXPECT_EQ(AnimationContext::current().duration, 0);
    field.set(1);
    nextTurn();
    field.set(2);
    nextTurn();
    // A group without implicit animation, or of no duration, does not animate.
    runAnimationGroup(0.3, false, [&] { field.set(3); });
    nextTurn();
    runAnimationGroup(0, true, [&] { field.set(4); });
    nextTurn();

    ASSERT_EQ(calls.size(), 4u);
    EXPECT_DOUBLE_EQ(calls[0].context.duration, 0.3);
    EXPECT_TRUE(calls[0].context.allowsImplicitAnimation);
    for (std::size_t i = 1; i < calls.size(); ++i)
        EXPECT_FALSE(calls[i].context.animates()) << "call " << i;
    EXPECT_EQ(calls[1].context.duration, 0);
}

TEST(Observation, ReleasingTheTokenEndsTheChain)
{
    Observable<int> field;
    std::vector<Call> calls;
    auto token = record(field, calls);

    // Released while a call is on its way: the call is dropped.
    field.set(1);
    token.reset();
    nextTurn();
    EXPECT_TRUE(calls.empty());

    // The field forgets the observation at its next write.
    EXPECT_EQ(field.observationCount(), 1u);
    field.set(2);
    EXPECT_EQ(field.observationCount(), 0u);
    nextTurn();
    EXPECT_TRUE(calls.empty());
}

TEST(Observation, SeveralObserversEachGetTheirCallAndMayTakeNoArguments)
{
    Observable<QStringList> field;
    std::vector<std::pair<QStringList, QStringList>> detailed;
    int plainCalls = 0;
    auto first = observeChanges(field, [&](const QStringList &old, const QStringList &now) { detailed.emplace_back(old, now); });
    auto second = observeChanges(field, [&] { ++plainCalls; });
    auto released = observeChanges(field, [&] { plainCalls += 100; });
    released.reset();

    field.modify([](QStringList &list) { list << QStringLiteral("a"); });
    field.modify([](QStringList &list) { list << QStringLiteral("b"); });
    nextTurn();
    ASSERT_EQ(detailed.size(), 1u);
    EXPECT_EQ(detailed[0].first, QStringList{});
    EXPECT_EQ(detailed[0].second, (QStringList{QStringLiteral("a"), QStringLiteral("b")}));
    EXPECT_EQ(plainCalls, 1);
    EXPECT_EQ(field.observationCount(), 2u);
}

TEST(Observation, WriteMadeByTheCallItselfIsNotReportedBackAndDestroyedFieldDropsItsCall)
{
    Observable<int> field;
    std::vector<int> seen;
    auto token = observeChanges(field, [&](int, int now) {
        seen.push_back(now);
        if (now < 3)
            field.set(now + 1); // corrects its own field
    });
    field.set(1);
    for (int turn = 0; turn < 5; ++turn)
        nextTurn();
    EXPECT_EQ(seen, (std::vector<int>{1}));
    EXPECT_EQ(field.get(), 2);
    // The next write from outside is observed again.
    field.set(7);
    nextTurn();
    EXPECT_EQ(seen, (std::vector<int>{1, 7}));

    bool called = false;
    ObservationTrackingToken orphan;
    {
        Observable<int> shortLived;
        orphan = observeChanges(shortLived, [&] { called = true; });
        shortLived.set(1);
    }
    nextTurn();
    EXPECT_FALSE(called);
}

TEST(AnimationContext, GroupsNestAndRestoreTheOuterContextAlsoWhenTheBodyThrows)
{
    EXPECT_FALSE(AnimationContext::current().animates());
    runAnimationGroup(0.3, true, [] {
        runAnimationGroup(0, false, [] { EXPECT_EQ(AnimationContext::current().duration, 0); });
        EXPECT_DOUBLE_EQ(AnimationContext::current().duration, 0.3);
        EXPECT_THROW(runAnimationGroup(1.0, true, [] { throw std::runtime_error("boom"); }), std::runtime_error);
        EXPECT_DOUBLE_EQ(AnimationContext::current().duration, 0.3);
    });
    EXPECT_EQ(AnimationContext::current().duration, 0);
    EXPECT_FALSE(AnimationContext::current().allowsImplicitAnimation);
}
