#include "Support/NotificationCenter.h"

#include <gtest/gtest.h>

TEST(NotificationCenter, PostCallsTheObserversOfThatNameInOrderUntilTheirTokensGo)
{
    NotificationCenter center;
    QStringList calls;
    auto first = center.addObserver(Notifications::reloadVisibleRows, [&] { calls << QStringLiteral("first"); });
    auto second = center.addObserver(Notifications::reloadVisibleRows, [&] { calls << QStringLiteral("second"); });
    auto other = center.addObserver(Notifications::reloadAppearance, [&] { calls << QStringLiteral("appearance"); });

    center.post(Notifications::reloadVisibleRows);
    EXPECT_EQ(calls, (QStringList{QStringLiteral("first"), QStringLiteral("second")}));

    calls.clear();
    NotificationToken moved = std::move(first); // moving keeps the observer
    second.reset();
    center.post(Notifications::reloadVisibleRows);
    EXPECT_EQ(calls, QStringList{QStringLiteral("first")});
    EXPECT_EQ(center.observerCount(Notifications::reloadVisibleRows), 1);

    calls.clear();
    {
        NotificationToken dropped = std::move(moved);
    }
    center.post(Notifications::reloadVisibleRows);
    center.post(Notifications::navigateRightOnSelection);
    EXPECT_TRUE(calls.isEmpty());
    EXPECT_EQ(center.observerCount(Notifications::reloadVisibleRows), 0);
}

TEST(NotificationCenter, TokensMayGoInsideCallsAndObserversAddedDuringAPostWaitForTheNext)
{
    NotificationCenter center;
    QStringList calls;
    NotificationToken self;
    NotificationToken later;
    NotificationToken added;
    self = center.addObserver(Notifications::reloadVisibleRows, [&] {
        calls << QStringLiteral("self");
        self.reset(); // removes itself while running
        later.reset(); // and an observer the post has not reached yet
        added = center.addObserver(Notifications::reloadVisibleRows, [&] { calls << QStringLiteral("added"); });
    });
    later = center.addObserver(Notifications::reloadVisibleRows, [&] { calls << QStringLiteral("later"); });

    center.post(Notifications::reloadVisibleRows);
    EXPECT_EQ(calls, QStringList{QStringLiteral("self")});
    calls.clear();
    center.post(Notifications::reloadVisibleRows);
    EXPECT_EQ(calls, QStringList{QStringLiteral("added")});
}

TEST(NotificationCenter, TokenOutlivingItsCentreIsHarmless)
{
    NotificationToken token;
    {
        NotificationCenter center;
        token = center.addObserver(QStringLiteral("x"), [] {});
        EXPECT_TRUE(token.isActive());
    }
    EXPECT_FALSE(token.isActive());
    token.reset();
}
