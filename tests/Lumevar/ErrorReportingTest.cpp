// reportError filters cancellations and offline moments and sends everything else. (The automatic
// report of a decoding failure is checked on the wire, in the automatic report's own test.)

#include "ModelTestFixture.h"

class ErrorReportingTest : public ModelTest {};

TEST_F(ErrorReportingTest, CancelledAndOfflineErrorsSendNothing)
{
    reportError(URLError(URLError::cancelled), QStringLiteral("sync"));
    reportError(CancellationError(), QStringLiteral("sync"));
    reportError(URLError(URLError::notConnectedToInternet), QStringLiteral("sync"));
    // The same errors held as plain values, the way catch blocks hand them on.
    for (const auto &error : {std::make_exception_ptr(URLError(URLError::notConnectedToInternet)),
                              std::make_exception_ptr(CancellationError())}) {
        try {
            std::rethrow_exception(error);
        } catch (...) {
            const Error plain = errorFromCurrentException();
            reportError(plain, QStringLiteral("sync"));
        }
    }
    EXPECT_TRUE(telemetry.errors.isEmpty());
    EXPECT_TRUE(feedback.reports.isEmpty());
}

TEST_F(ErrorReportingTest, OtherErrorsSendOneSignalWithDomainAndCode)
{
    const URLError timedOut(URLError::timedOut);
    reportError(timedOut, QStringLiteral("load_albums"));
    ASSERT_EQ(telemetry.errors.size(), 1);
    EXPECT_EQ(telemetry.errors[0].name, QStringLiteral("error_load_albums"));
    EXPECT_EQ(telemetry.errors[0].message, timedOut.localizedDescription());
    EXPECT_EQ(telemetry.errors[0].parameters.value(QStringLiteral("domain")), timedOut.domain());
    EXPECT_EQ(telemetry.errors[0].parameters.value(QStringLiteral("code")), QStringLiteral("-1001"));
    // An exception of no kind of ours is reported too, as a generic error.
    reportError(std::make_exception_ptr(std::runtime_error("boom")), QStringLiteral("sync"));
    EXPECT_EQ(telemetry.errors.size(), 2);
    EXPECT_TRUE(feedback.reports.isEmpty());
}
