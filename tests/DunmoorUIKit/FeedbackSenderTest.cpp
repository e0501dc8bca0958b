// The feedback sender against a real HTTP server on the loopback interface: what arrives there,
// and how each kind of reply is judged.
#include "DunmoorUIKit/FeedbackSender.h"
#include "DunmoorUIKit/IncludedLogs.h"
#include "Support/Log.h"
#include "TestKit/AsyncTest.h"
#include "TestKit/LoopbackHttpServer.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <gtest/gtest.h>

namespace {

const QString token = QStringLiteral("a41c7e02-6d3b-4f18-b2e9-17c05d8f36ae");
const QString support = QStringLiteral("support@example.org");
const QByteArray accepted = R"({"ErrorCode":0,"Message":"OK"})";

class FeedbackSenderTest : public ::testing::Test {
protected:
    FeedbackSenderTest() { reply({200, accepted, "application/json"}); }

    void reply(LoopbackHttpServer::Response response) { server.setResponse(QStringLiteral("/email"), std::move(response)); }

    void send(const QString &name, const QString &email, const QString &logs, const QString &message = QStringLiteral("The list jumps."))
    {
        FeedbackSender sender(server.url(QString()));
        runTask(sender.send(token, support, name, email, QStringLiteral("Lumevar"), message, logs));
    }

    QJsonObject lastBody() const { return QJsonDocument::fromJson(server.requests().constLast().body).object(); }

    LoopbackHttpServer server;
};

TEST_F(FeedbackSenderTest, PostsTheMessageWithItsHeadersAndOnlyTheKeysThatApply)
{
    struct Case {
        QString name, email, logs;
    };
    const QString logs = QStringLiteral("com.dunmoor.Lumevar; sync; 4; Failed to load albums: é\n");
    const QList<Case> cases = {
        {QStringLiteral("Ada"), QStringLiteral("ada@example.org"), logs},
        {QStringLiteral("Ada"), QString(), QString()},
        {QString(), QStringLiteral("ada@example.org"), QString()},
        {QString(), QString(), logs},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE((c.name + u'|' + c.email + u'|' + c.logs).toStdString());
        send(c.name, c.email, c.logs);
        const LoopbackHttpServer::Request &request = server.requests().constLast();
        EXPECT_EQ(request.method, "POST");
        EXPECT_EQ(request.path, QStringLiteral("/email"));
        EXPECT_EQ(request.headers.value("accept"), "application/json");
        EXPECT_EQ(request.headers.value("content-type"), "application/json");
        EXPECT_EQ(request.headers.value("x-postmark-server-token"), token.toUtf8());

        const QJsonObject body = lastBody();
        EXPECT_EQ(body.value(QLatin1String("From")).toString(), support);
        EXPECT_EQ(body.value(QLatin1String("To")).toString(), support);
        EXPECT_EQ(body.value(QLatin1String("Subject")).toString(), QStringLiteral("Lumevar Feedback"));
        EXPECT_EQ(body.value(QLatin1String("TextBody")).toString(),
                  c.name.isEmpty() ? QStringLiteral("The list jumps.") : QStringLiteral("Ada wrote:\n\nThe list jumps."));
        EXPECT_EQ(body.contains(QLatin1String("ReplyTo")), !c.email.isEmpty());
        if (!c.email.isEmpty()) {
            EXPECT_EQ(body.value(QLatin1String("ReplyTo")).toString(), c.email);
        }
        // Empty logs: no key at all, not an empty list.
        EXPECT_EQ(body.contains(QLatin1String("Attachments")), !c.logs.isEmpty());
        if (!c.logs.isEmpty()) {
            const QJsonArray attachments = body.value(QLatin1String("Attachments")).toArray();
            ASSERT_EQ(attachments.size(), 1);
            const QJsonObject file = attachments[0].toObject();
            EXPECT_EQ(file.value(QLatin1String("Name")).toString(), QStringLiteral("logs.txt"));
            EXPECT_EQ(file.value(QLatin1String("ContentType")).toString(), QStringLiteral("text/plain"));
            const QByteArray content = file.value(QLatin1String("Content")).toString().toLatin1();
            EXPECT_FALSE(content.contains('\n'));
            EXPECT_EQ(QString::fromUtf8(QByteArray::fromBase64(content)), c.logs);
        }
    }
    EXPECT_EQ(server.requests().size(), cases.size());
}

TEST_F(FeedbackSenderTest, TheErrorCodeDecidesWhateverTheStatus)
{
    reply({200, R"({"ErrorCode":300,"Message":"Invalid email request"})", "application/json"});
    try {
        send(QString(), QString(), QString());
        FAIL() << "a refused mail must throw";
    } catch (const SendResponse &refused) {
        EXPECT_EQ(refused.errorCode(), 300);
    }

    reply({500, R"({"ErrorCode":0})", "application/json"});
    EXPECT_NO_THROW(send(QString(), QString(), QString()));
}

TEST_F(FeedbackSenderTest, AReplyWithoutANumericErrorCodeIsADecodingFailure)
{
    for (const QByteArray &body : {QByteArray("<html>Bad gateway</html>"), QByteArray(R"({"Message":"OK"})"),
                                   QByteArray(R"({"ErrorCode":"0"})"), QByteArray()}) {
        SCOPED_TRACE(body.toStdString());
        reply({200, body, "text/html"});
        try {
            send(QString(), QString(), QString());
            FAIL() << "must throw";
        } catch (const DecodingError &error) {
            EXPECT_TRUE(error.debugDescription().contains(QLatin1String("DecodingError")));
        }
    }
}

TEST_F(FeedbackSenderTest, ARefusedConnectionIsATransportError)
{
    FeedbackSender sender(LoopbackHttpServer::refusingURL());
    try {
        runTask(sender.send(token, support, {}, {}, QStringLiteral("Lumevar"), QStringLiteral("The list jumps."), {}));
        FAIL() << "must throw";
    } catch (const URLError &error) {
        EXPECT_EQ(error.urlCode(), URLError::cannotConnectToHost);
    }
}

TEST(IncludedLogsTest, TheProcessesOwnErrorLinesInTheLogFormat)
{
    LogStore::shared().clear();
    LUMEVAR_ERROR(Log::sync(), "Failed to load albums: %@", QStringLiteral("disk full"));
    LUMEVAR_ERROR(Log::images(), "Failed to load artwork: %@", QStringLiteral("404"));
    EXPECT_EQ(IncludedLogs::currentProcess().collect(),
              QStringLiteral("com.dunmoor.Lumevar; sync; 4; Failed to load albums: disk full\n"
                             "com.dunmoor.Lumevar; images; 4; Failed to load artwork: 404\n"));
    LogStore::shared().clear();
    EXPECT_EQ(IncludedLogs::currentProcess().collect(), QString());
}

TEST(IncludedLogsTest, ProcessNamesMatchIgnoringCaseAndAccents)
{
    EXPECT_TRUE(IncludedLogsDetail::containsFolded(QStringLiteral("Lumévar-Helper"), QStringLiteral("LUMEVAR")));
    EXPECT_TRUE(IncludedLogsDetail::containsFolded(QStringLiteral("lumevar"), QStringLiteral("Lumévar")));
    EXPECT_FALSE(IncludedLogsDetail::containsFolded(QStringLiteral("mpv"), QStringLiteral("lumevar")));
    // A journal that cannot be read, or holds nothing of the name, is empty text and no error.
    EXPECT_NO_THROW(IncludedLogs::process(QStringLiteral("no-such-process-name-xyz")).collect());
    EXPECT_EQ(IncludedLogs::process(QStringLiteral("no-such-process-name-xyz")).collect(), QString());
}

} // namespace
