#include "DunmoorUIKit/FeedbackSender.h"

#include <QCoreApplication>
#include <QCoroNetworkReply>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QPointer>
#include <memory>

namespace {

constexpr int timeoutMilliseconds = 60'000;

QNetworkAccessManager &processNetwork()
{
    // Owned by the application object, so it goes before Qt's network backends do.
    static QPointer<QNetworkAccessManager> network;
    if (!network)
        network = new QNetworkAccessManager(QCoreApplication::instance());
    return *network;
}

URLError::Code urlErrorOf(QNetworkReply::NetworkError error)
{
    switch (error) {
    case QNetworkReply::ConnectionRefusedError: return URLError::cannotConnectToHost;
    case QNetworkReply::RemoteHostClosedError: return URLError::networkConnectionLost;
    case QNetworkReply::HostNotFoundError: return URLError::cannotFindHost;
    case QNetworkReply::TimeoutError:
    case QNetworkReply::OperationCanceledError: return URLError::timedOut; // the transfer timeout aborts this way
    default: return URLError::unknown;
    }
}

int decodeErrorCode(const QByteArray &data)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(data, &parseError);
    if (parseError.error != QJsonParseError::NoError || !document.isObject())
        throw DecodingError(QStringLiteral("SendResponse: the reply is no JSON object (%1)").arg(parseError.errorString()));
    const QJsonValue code = document.object().value(QLatin1String("ErrorCode"));
    if (!code.isDouble() || code.toDouble() != double(code.toInteger()))
        throw DecodingError(QStringLiteral("SendResponse: the reply has no integer \"ErrorCode\""));
    return int(code.toInteger());
}

} // namespace

SendResponse::SendResponse(int errorCode)
    : Error(QStringLiteral("DunmoorUIKit.SendResponse"), errorCode,
            QStringLiteral("The mail service refused the message (error code %1).").arg(errorCode)),
      m_errorCode(errorCode)
{
}

FeedbackSender::FeedbackSender(QUrl apiBase, QNetworkAccessManager *network)
    : m_apiBase(std::move(apiBase)), m_network(network)
{
}

QByteArray FeedbackSender::body(const QString &email, const QString &userName, const QString &userEmail,
                                const QString &productName, const QString &message, const QString &logs)
{
    QJsonObject object{
        {QStringLiteral("From"), email},
        {QStringLiteral("To"), email},
        {QStringLiteral("Subject"), productName + QStringLiteral(" Feedback")},
        {QStringLiteral("TextBody"),
         userName.isEmpty() ? message : userName + QStringLiteral(" wrote:\n\n") + message},
    };
    if (!userEmail.isEmpty())
        object.insert(QStringLiteral("ReplyTo"), userEmail);
    if (!logs.isEmpty()) {
        object.insert(QStringLiteral("Attachments"),
                      QJsonArray{QJsonObject{{QStringLiteral("Name"), QStringLiteral("logs.txt")},
                                             {QStringLiteral("ContentType"), QStringLiteral("text/plain")},
                                             {QStringLiteral("Content"), QString::fromLatin1(logs.toUtf8().toBase64())}}});
    }
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QCoro::Task<void> FeedbackSender::send(QString token, QString email, QString userName, QString userEmail,
                                       QString productName, QString message, QString logs) const
{
    QUrl url = m_apiBase;
    url.setPath(url.path().endsWith(u'/') ? url.path() + QStringLiteral("email") : url.path() + QStringLiteral("/email"));
    QNetworkRequest request(url);
    request.setTransferTimeout(timeoutMilliseconds);
    request.setRawHeader("Accept", "application/json");
    request.setRawHeader("Content-Type", "application/json");
    request.setRawHeader("X-Postmark-Server-Token", token.toUtf8());
    const QByteArray data = body(email, userName, userEmail, productName, message, logs);

    QNetworkAccessManager &network = m_network ? *m_network : processNetwork();
    std::unique_ptr<QNetworkReply, void (*)(QNetworkReply *)> reply(network.post(request, data),
                                                                   [](QNetworkReply *r) { r->deleteLater(); });
    co_await reply.get();
    // An HTTP error status with a body is still an answer: its "ErrorCode" decides.
    const QNetworkReply::NetworkError error = reply->error();
    const bool answered = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid();
    if (error != QNetworkReply::NoError && !answered)
        throw URLError(urlErrorOf(error), url.toString() + QStringLiteral(": ") + reply->errorString());
    const int errorCode = decodeErrorCode(reply->readAll());
    if (errorCode != 0)
        throw SendResponse(errorCode);
}
