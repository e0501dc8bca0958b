// The automatic report of a decoding failure, from reportError to a real HTTP server on the
// loopback interface, configured through the environment as a packager or a test would.
#include "Lumevar/Feedback/AutomaticFeedbackReport.h"
#include "TestKit/LoopbackHttpServer.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>
#include <gtest/gtest.h>

namespace {

class AutomaticFeedbackReportTest : public ::testing::Test {
protected:
    AutomaticFeedbackReportTest()
    {
        server.setResponse(QStringLiteral("/email"), {200, R"({"ErrorCode":0})", "application/json"});
        qputenv("LUMEVAR_FEEDBACK_URL", server.url(QString()).toString().toUtf8());
        qputenv("LUMEVAR_FEEDBACK_TOKEN", "a41c7e02-6d3b-4f18-b2e9-17c05d8f36ae");
        qputenv("LUMEVAR_SUPPORT_EMAIL", "support@example.org");
    }
    ~AutomaticFeedbackReportTest() override
    {
        for (const char *name : {"LUMEVAR_FEEDBACK_URL", "LUMEVAR_FEEDBACK_TOKEN", "LUMEVAR_SUPPORT_EMAIL"})
            qunsetenv(name);
    }

    LoopbackHttpServer server;
};

TEST_F(AutomaticFeedbackReportTest, TheEnvironmentOverridesTheBuildsValues)
{
    const FeedbackConfiguration configuration = FeedbackConfiguration::current();
    EXPECT_EQ(configuration.apiBase, server.url(QString()));
    EXPECT_EQ(configuration.token, QStringLiteral("a41c7e02-6d3b-4f18-b2e9-17c05d8f36ae"));
    EXPECT_EQ(configuration.supportEmail, QStringLiteral("support@example.org"));
    qputenv("LUMEVAR_FEEDBACK_TOKEN", "");
    EXPECT_FALSE(FeedbackConfiguration::current().hasToken());
}

TEST_F(AutomaticFeedbackReportTest, SentOnceForADecodingFailureAndNeverForOthers)
{
    AutomaticFeedbackReport report(FeedbackConfiguration::current());
    const ErrorReporter reporter(nullptr, &report);
    // Reported first, so that a report of any of them would arrive before the decoding one's.
    reporter.reportError(URLError(URLError::timedOut), QStringLiteral("load_albums"));
    reporter.reportError(StoreError(StoreError::queryFailed, QStringLiteral("no such table")), QStringLiteral("sync"));
    reporter.reportError(CancellationError(), QStringLiteral("sync"));
    reporter.reportError(std::make_exception_ptr(std::runtime_error("boom")), QStringLiteral("play_song"));
    const DecodingError decoding(QStringLiteral("unexpected end of JSON"));
    reporter.reportError(decoding, QStringLiteral("load_made_for_you"));

    ASSERT_TRUE(QTest::qWaitFor([this] { return !server.requests().isEmpty(); }));
    // A few more turns of the event loop for anything that should not come.
    QTest::qWait(50);
    ASSERT_EQ(server.requests().size(), 1);
    const QJsonObject body = QJsonDocument::fromJson(server.requests()[0].body).object();
    EXPECT_EQ(body.value(QLatin1String("Subject")).toString(), QStringLiteral("Lumevar Feedback"));
    EXPECT_EQ(body.value(QLatin1String("TextBody")).toString(),
              QStringLiteral("Error load_made_for_you: ") + decoding.localizedDescription() + QStringLiteral("\n\n") +
                  decoding.debugDescription());
    EXPECT_FALSE(body.contains(QLatin1String("ReplyTo")));
    EXPECT_FALSE(body.contains(QLatin1String("Attachments")));
    EXPECT_EQ(server.requests()[0].headers.value("x-postmark-server-token"), "a41c7e02-6d3b-4f18-b2e9-17c05d8f36ae");
}

TEST_F(AutomaticFeedbackReportTest, WithoutATokenNothingLeaves)
{
    qputenv("LUMEVAR_FEEDBACK_TOKEN", "");
    AutomaticFeedbackReport silent(FeedbackConfiguration::current());
    ErrorReporter(nullptr, &silent).reportError(DecodingError(QStringLiteral("bad")), QStringLiteral("sync"));
    qputenv("LUMEVAR_FEEDBACK_TOKEN", "second");
    AutomaticFeedbackReport configured(FeedbackConfiguration::current());
    ErrorReporter(nullptr, &configured).reportError(DecodingError(QStringLiteral("bad")), QStringLiteral("sync"));
    ASSERT_TRUE(QTest::qWaitFor([this] { return !server.requests().isEmpty(); }));
    QTest::qWait(50);
    ASSERT_EQ(server.requests().size(), 1);
    EXPECT_EQ(server.requests()[0].headers.value("x-postmark-server-token"), "second");
}

} // namespace
