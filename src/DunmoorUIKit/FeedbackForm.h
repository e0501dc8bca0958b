#pragma once
// The state and behaviour of the feedback form, without widgets: the three texts, whether a send
// is under way or failed, the logs gathered when the form appears, and the Send rule.
//
// States: editing (Send enabled by the length rule), sending (everything disabled), dismissed on
// success, failed (the alert, then editing again). After any attempt the logs are dropped, so a
// retry goes out without them; the texts stay for it.

#include "DunmoorUIKit/FeedbackSender.h"
#include "DunmoorUIKit/IncludedLogs.h"

#include <QObject>
#include <QString>
#include <optional>

class FeedbackForm : public QObject {
    Q_OBJECT
public:
    struct Inputs {
        FeedbackSender sender;
        QString token;
        QString productName;
        QString email; // the support address: sender and recipient
        std::optional<IncludedLogs> includedLogs;
    };

    explicit FeedbackForm(Inputs inputs, QObject *parent = nullptr);

    const Inputs &inputs() const { return m_inputs; }

    const QString &userName() const { return m_userName; }
    const QString &userEmail() const { return m_userEmail; }
    const QString &message() const { return m_message; }
    const QString &logs() const { return m_logs; }
    bool isSending() const { return m_isSending; }
    bool didFail() const { return m_didFail; }

    void setUserName(const QString &value);
    void setUserEmail(const QString &value);
    void setMessage(const QString &value);
    // The alert was acknowledged.
    void clearFailure();

    // More than 10 characters as the user sees them (grapheme clusters, spaces and line breaks
    // counted, nothing trimmed), and no send under way.
    bool canSend() const;
    static qsizetype visibleLength(const QString &text);

    // Gathers the logs off the main thread; called once, when the form first appears.
    void appear();
    // Starts sending; does nothing unless canSend().
    void send();

Q_SIGNALS:
    // Any field or state above changed.
    void changed();
    void logsCollected();
    void sendFailed();
    // The message went out: the form's window closes.
    void dismissRequested();

private:
    QCoro::Task<void> collectLogs();
    QCoro::Task<void> sendMessage();

    Inputs m_inputs;
    QString m_userName;
    QString m_userEmail;
    QString m_message;
    QString m_logs;
    bool m_isSending = false;
    bool m_didFail = false;
    bool m_appeared = false;
};
