// One Lumevar per profile, checked on the real executable: a second launch hands over and ends,
// whether or not a session bus carries the hand-over, and a profile whose process died is free.

#include "LaunchedApp.h"

#include "Lumevar/App/SingleInstance.h"

#include <QDBusConnectionInterface>
#include <gtest/gtest.h>

namespace {

constexpr int startMs = 20000;

bool answersOnBus(const LaunchedApp &app)
{
    return app.bus().interface()->isServiceRegistered(SingleInstance::serviceName(app.profileFolder())).value();
}

} // namespace

TEST(SingleInstanceTest, ASecondLaunchOnTheSameProfileHandsOverAndEnds)
{
    LaunchedApp app;
    ASSERT_TRUE(app.startBus());
    QProcess &first = app.launch();
    ASSERT_TRUE(LaunchedApp::waitFor([&] { return answersOnBus(app); }, startMs));

    QProcess &second = app.launch();
    ASSERT_TRUE(second.waitForFinished(startMs));
    EXPECT_EQ(second.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(second.exitCode(), 0);
    EXPECT_EQ(first.state(), QProcess::Running);

    // Without a bus to hand over on, the second launch still leaves the store to the first.
    app.dropBus();
    QProcess &unreachable = app.launch();
    ASSERT_TRUE(unreachable.waitForFinished(startMs));
    EXPECT_EQ(unreachable.exitCode(), 1);
    EXPECT_EQ(first.state(), QProcess::Running);

    // A profile whose process died is taken by the next launch.
    first.kill();
    first.waitForFinished(5000);
    QProcess &next = app.launch();
    EXPECT_FALSE(next.waitForFinished(3000));
    EXPECT_EQ(next.state(), QProcess::Running);
}

TEST(SingleInstanceTest, TwoCopiesStartedAtOnceLeaveOneRunning)
{
    LaunchedApp app;
    ASSERT_TRUE(app.startBus());
    QProcess &a = app.launch();
    QProcess &b = app.launch();
    ASSERT_TRUE(LaunchedApp::waitFor([&] { return a.state() == QProcess::NotRunning || b.state() == QProcess::NotRunning; },
                                     startMs));
    QProcess &ended = a.state() == QProcess::NotRunning ? a : b;
    QProcess &running = &ended == &a ? b : a;
    EXPECT_EQ(ended.exitCode(), 0);
    EXPECT_FALSE(running.waitForFinished(2000));
    EXPECT_TRUE(answersOnBus(app));
}
