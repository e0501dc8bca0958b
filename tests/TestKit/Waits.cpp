#include "TestKit/Waits.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QTimer>

::testing::AssertionResult waitUntil(const std::function<bool()> &done, const char *what, int limitMs)
{
    const QDeadlineTimer deadline(limitMs);
    QTimer tick; // wakes the wait below to check again
    tick.start(5);
    while (!done()) {
        if (deadline.hasExpired())
            return ::testing::AssertionFailure() << "waited " << limitMs << " ms for " << what;
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    }
    return ::testing::AssertionSuccess();
}
