#pragma once
// The feedback form as a window titled "Send Feedback": Name and Email in one group, the message
// in a second, and a Send button; over a FeedbackForm it owns. Each opening is a window of its
// own, with its own log collection, started when it is first shown; it deletes itself when closed.
// A window closed while sending lets the send finish.

#include "DunmoorUIKit/FeedbackForm.h"

#include <QWidget>

class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QMessageBox;

class FeedbackView : public QWidget {
    Q_OBJECT
public:
    explicit FeedbackView(FeedbackForm::Inputs inputs, QWidget *parent = nullptr);

    FeedbackForm &form() { return *m_form; }
    QLineEdit *nameField() const { return m_name; }
    QLineEdit *emailField() const { return m_email; }
    QPlainTextEdit *messageField() const { return m_message; }
    QPushButton *sendButton() const { return m_send; }

    // The alert shown after a failed send, while it is open.
    QMessageBox *failureAlert() const { return m_alert; }

    QSize sizeHint() const override;

protected:
    void showEvent(QShowEvent *event) override;

private:
    void refresh();
    void showFailure();

    FeedbackForm *m_form;
    QLineEdit *m_name;
    QLineEdit *m_email;
    QPlainTextEdit *m_message;
    QPushButton *m_send;
    QMessageBox *m_alert = nullptr;
};
