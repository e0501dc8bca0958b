#include "Support/Progress.h"

#include <QCoreApplication>
#include <QThread>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

TEST(Progress, FractionFollowsUnitsWithinZeroAndOne)
{
    Progress progress;
    int signals = 0;
    QObject::connect(&progress, &Progress::changed, [&] { ++signals; });
    EXPECT_EQ(progress.totalUnitCount(), 100);
    EXPECT_EQ(progress.fractionCompleted(), 0.0);

    progress.setCompletedUnitCount(25);
    progress.addCompletedUnitCount(25);
    EXPECT_DOUBLE_EQ(progress.fractionCompleted(), 0.5);
    EXPECT_FALSE(progress.isFinished());
    EXPECT_EQ(signals, 2) << "changes made on the main thread are signalled at once";

    progress.addCompletedUnitCount(80);
    EXPECT_EQ(progress.completedUnitCount(), 130);
    EXPECT_EQ(progress.fractionCompleted(), 1.0);
    EXPECT_TRUE(progress.isFinished());

    progress.setTotalUnitCount(0);
    EXPECT_EQ(progress.fractionCompleted(), 0.0);
    EXPECT_FALSE(progress.isFinished());
}

TEST(Progress, ReportsFromWorkerThreadsAddUpAndAreSignalledOnTheMainThread)
{
    Progress progress;
    int signals = 0;
    bool allOnMainThread = true;
    double lastSeen = 0;
    QObject::connect(&progress, &Progress::changed, [&] {
        ++signals;
        allOnMainThread = allOnMainThread && QThread::currentThread() == QCoreApplication::instance()->thread();
        lastSeen = progress.fractionCompleted();
    });

    std::vector<std::thread> workers;
    for (int worker = 0; worker < 4; ++worker) {
        workers.emplace_back([&progress] {
            for (int unit = 0; unit < 25; ++unit)
                progress.addCompletedUnitCount(1);
        });
    }
    for (std::thread &worker : workers)
        worker.join();
    EXPECT_EQ(signals, 0) << "signals of other threads arrive through the main event loop";

    QCoreApplication::processEvents();
    EXPECT_EQ(progress.completedUnitCount(), 100);
    EXPECT_TRUE(progress.isFinished());
    EXPECT_GE(signals, 1);
    EXPECT_LE(signals, 100);
    EXPECT_TRUE(allOnMainThread);
    EXPECT_EQ(lastSeen, 1.0) << "the last signal shows the final state";
}
