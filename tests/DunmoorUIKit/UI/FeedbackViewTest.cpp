// The feedback window through its widgets, sending to a real HTTP server on the loopback
// interface.
#include "DunmoorUIKit/UI/FeedbackView.h"
#include "Support/Log.h"
#include "TestKit/LoopbackHttpServer.h"

#include <QAccessible>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLineEdit>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QTest>
#include <gtest/gtest.h>

namespace {

class FeedbackViewTest : public ::testing::Test {
protected:
    FeedbackViewTest()
    {
        server.setResponse(QStringLiteral("/email"), {200, R"({"ErrorCode":0})", "application/json"});
        LogStore::shared().clear();
        LUMEVAR_ERROR(Log::sync(), "Failed to load albums: %@", QStringLiteral("disk full"));
        view = new FeedbackView({FeedbackSender(server.url(QString())), QStringLiteral("token"), QStringLiteral("Lumevar"),
                                 QStringLiteral("support@example.org"), IncludedLogs::currentProcess()});
        view->show();
        // The logs are gathered once the window appears.
        EXPECT_TRUE(QTest::qWaitFor([this] { return !view->form().logs().isEmpty(); }));
    }
    ~FeedbackViewTest() override
    {
        delete view;
        LogStore::shared().clear();
    }

    void typeMessage(const QString &text)
    {
        view->messageField()->clear();
        QTest::keyClicks(view->messageField(), text);
    }
    QJsonObject body(qsizetype i) const { return QJsonDocument::fromJson(server.requests().at(i).body).object(); }

    LoopbackHttpServer server;
    QPointer<FeedbackView> view;
};

TEST_F(FeedbackViewTest, IsTitledAndEveryFieldCarriesItsLabelForScreenReaders)
{
    EXPECT_EQ(view->windowTitle(), QStringLiteral("Send Feedback"));
    const std::pair<QWidget *, QString> fields[] = {{view->nameField(), QStringLiteral("Name:")},
                                                    {view->emailField(), QStringLiteral("Email:")},
                                                    {view->messageField(), QStringLiteral("Message:")}};
    for (const auto &[field, label] : fields) {
        QAccessibleInterface *accessible = QAccessible::queryAccessibleInterface(field);
        ASSERT_NE(accessible, nullptr);
        EXPECT_EQ(accessible->text(QAccessible::Name), label);
    }
    EXPECT_EQ(view->nameField()->placeholderText(), QStringLiteral("optional"));
    EXPECT_EQ(view->emailField()->placeholderText(), QStringLiteral("if you want a response"));
    EXPECT_EQ(view->sendButton()->text(), QStringLiteral("Send"));
}

TEST_F(FeedbackViewTest, SendNeedsMoreThanTenCharactersAsTheUserSeesThem)
{
    EXPECT_FALSE(view->sendButton()->isEnabled());
    typeMessage(QStringLiteral("0123456789"));
    EXPECT_FALSE(view->sendButton()->isEnabled());
    QTest::keyClick(view->messageField(), Qt::Key_X);
    EXPECT_TRUE(view->sendButton()->isEnabled());
    // Spaces and line breaks count; nothing is trimmed.
    typeMessage(QStringLiteral("         "));
    QTest::keyClick(view->messageField(), Qt::Key_Return);
    EXPECT_FALSE(view->sendButton()->isEnabled());
    QTest::keyClick(view->messageField(), Qt::Key_Space);
    EXPECT_TRUE(view->sendButton()->isEnabled());
    // Ten accented letters written as letter + combining accent are ten characters, not twenty.
    view->messageField()->setPlainText(QString(QStringLiteral("e\u0301")).repeated(10));
    EXPECT_FALSE(view->sendButton()->isEnabled());
    view->messageField()->setPlainText(QString(QStringLiteral("e\u0301")).repeated(11));
    EXPECT_TRUE(view->sendButton()->isEnabled());
}

TEST_F(FeedbackViewTest, AFailureShowsTheAlertKeepsTheTextsAndTheRetryGoesWithoutLogsAndCloses)
{
    server.setResponse(QStringLiteral("/email"), {200, R"({"ErrorCode":300})", "application/json"});
    QTest::keyClicks(view->nameField(), QStringLiteral("Ada"));
    QTest::keyClicks(view->emailField(), QStringLiteral("ada@example.org"));
    typeMessage(QStringLiteral("The list jumps when I scroll."));
    QTest::mouseClick(view->sendButton(), Qt::LeftButton);

    // In flight: nothing can be edited or sent again.
    EXPECT_FALSE(view->nameField()->isEnabled());
    EXPECT_FALSE(view->emailField()->isEnabled());
    EXPECT_FALSE(view->messageField()->isEnabled());
    EXPECT_FALSE(view->sendButton()->isEnabled());

    ASSERT_TRUE(QTest::qWaitFor([this] { return view->failureAlert() != nullptr; }));
    EXPECT_EQ(view->failureAlert()->text(), QStringLiteral("Your feedback could not be sent."));
    ASSERT_EQ(server.requests().size(), 1);
    EXPECT_TRUE(body(0).contains(QLatin1String("Attachments")));
    EXPECT_TRUE(view->nameField()->isEnabled());
    EXPECT_EQ(view->nameField()->text(), QStringLiteral("Ada"));
    EXPECT_EQ(view->messageField()->toPlainText(), QStringLiteral("The list jumps when I scroll."));

    view->failureAlert()->button(QMessageBox::Ok)->click();
    ASSERT_TRUE(QTest::qWaitFor([this] { return view->failureAlert() == nullptr; }));
    EXPECT_FALSE(view->form().didFail());
    server.setResponse(QStringLiteral("/email"), {200, R"({"ErrorCode":0})", "application/json"});
    QTest::mouseClick(view->sendButton(), Qt::LeftButton);
    ASSERT_TRUE(QTest::qWaitFor([this] { return view.isNull(); }));
    ASSERT_EQ(server.requests().size(), 2);
    // Sent, the window closes.
    EXPECT_FALSE(body(1).contains(QLatin1String("Attachments")));
    EXPECT_EQ(body(1).value(QLatin1String("TextBody")).toString(), QStringLiteral("Ada wrote:\n\nThe list jumps when I scroll."));
    EXPECT_EQ(body(1).value(QLatin1String("ReplyTo")).toString(), QStringLiteral("ada@example.org"));
}

TEST_F(FeedbackViewTest, ClosingWhileSendingLetsTheSendFinish)
{
    typeMessage(QStringLiteral("The list jumps when I scroll."));
    QTest::mouseClick(view->sendButton(), Qt::LeftButton);
    view->close();
    ASSERT_TRUE(QTest::qWaitFor([this] { return view.isNull(); }));
    ASSERT_TRUE(QTest::qWaitFor([this] { return server.requests().size() == 1; }));
}

} // namespace
