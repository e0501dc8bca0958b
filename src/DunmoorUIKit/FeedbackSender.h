#pragma once
// Sends one feedback message to the makers through the Postmark e-mail API: a JSON POST to
// "<api base>/email", from the support mailbox to the same mailbox, the user's address as the
// reply-to, the logs as an attached text file. The reply's "ErrorCode" alone decides the outcome
// (Postmark answers a refused mail with a 4xx and an accepted one with 200, but the code is what
// it promises), so the HTTP status is not looked at.

#include "Support/Error.h"

#include <QCoroTask>
#include <QString>
#include <QUrl>

class QNetworkAccessManager;

// The decoded reply, thrown as the error when the mail service refused the message.
class SendResponse : public Error {
public:
    explicit SendResponse(int errorCode);
    int errorCode() const { return m_errorCode; }

private:
    int m_errorCode;
};

class FeedbackSender {
public:
    // apiBase: the mail API's address without the "/email" path. network: the manager to send
    // with, or nullptr for the process's own one (made on first use, on the main thread).
    explicit FeedbackSender(QUrl apiBase, QNetworkAccessManager *network = nullptr);

    const QUrl &apiBase() const { return m_apiBase; }

    // Throws URLError for a transport failure, DecodingError for a reply without a numeric
    // "ErrorCode", SendResponse for a non-zero one. Must be awaited on the thread of the manager.
    QCoro::Task<void> send(QString token, QString email, QString userName, QString userEmail, QString productName,
                           QString message, QString logs) const;

    // The JSON body of a message, as send() posts it.
    static QByteArray body(const QString &email, const QString &userName, const QString &userEmail,
                           const QString &productName, const QString &message, const QString &logs);

private:
    QUrl m_apiBase;
    QNetworkAccessManager *m_network;
};
