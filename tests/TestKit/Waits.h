#pragma once
// Waiting in tests for work that ends on the event loop (a store call's answer, a coalesced
// observer, a queued refresh, a layout): the event loop runs until a condition holds. The limit
// only ends a wait that hangs and is no measure of speed; it stays under CTest's time-out per test,
// so that a failed wait is reported as such rather than as a killed test. A wait that fails says what it waited for. Between
// events the thread sleeps instead of spinning.

#include <gtest/gtest.h>
#include <functional>

// Runs the event loop until done() holds, checking it after every batch of events and at least
// every 5 ms (for work on other threads that posts nothing here).
::testing::AssertionResult waitUntil(const std::function<bool()> &done, const char *what = "the condition",
                                     int limitMs = 20000);

// An expectation that holds once the event loop has run what is queued: waits for it, then checks
// it as EXPECT_EQ / EXPECT_TRUE do, so that a failure shows the values.
#define EXPECT_EVENTUALLY_EQ(actual, expected)                                                                        \
    do {                                                                                                               \
        (void)waitUntil([&] { return (actual) == (expected); }, #actual " == " #expected);                             \
        EXPECT_EQ(actual, expected);                                                                                   \
    } while (false)
#define EXPECT_EVENTUALLY_TRUE(condition)                                                                              \
    do {                                                                                                               \
        (void)waitUntil([&] { return bool(condition); }, #condition);                                                  \
        EXPECT_TRUE(condition);                                                                                        \
    } while (false)
