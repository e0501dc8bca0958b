// A termination signal ends the event loop the way Quit does, so what a clean quit saves is saved.
#include "Support/QuitSignals.h"

#include <QCoreApplication>
#include <QTimer>
#include <csignal>
#include <gtest/gtest.h>

TEST(QuitSignals, TermAndInterruptQuitTheEventLoop)
{
    QuitSignals::install();
    for (const int signal : {SIGTERM, SIGINT}) {
        QTimer::singleShot(0, [signal] { std::raise(signal); });
        // A loop the signal failed to end is ended here instead, and the test fails.
        QTimer guard;
        guard.setSingleShot(true);
        QObject::connect(&guard, &QTimer::timeout, [] { QCoreApplication::exit(1); });
        guard.start(5000);
        EXPECT_EQ(QCoreApplication::exec(), 0) << signal;
    }
}
