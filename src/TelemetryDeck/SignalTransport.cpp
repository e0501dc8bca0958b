#include "TelemetryDeck/SignalTransport.h"

#include "TelemetryDeck/TelemetryError.h"
#include "TelemetryDeck/UtilityQueue.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QThread>

SignalTransport::SignalTransport() = default;

SignalTransport::~SignalTransport() { delete m_network; }

QString SignalTransport::path(const std::optional<QString> &namespaceName)
{
    if (namespaceName && !namespaceName->isEmpty())
        return QStringLiteral("/v2/namespace/") + *namespaceName + QStringLiteral("/");
    return QStringLiteral("/v2/");
}

QUrl SignalTransport::requestURL(const QUrl &baseURL, const std::optional<QString> &namespaceName)
{
    QUrl url = baseURL;
    QString basePath = url.path();
    while (basePath.endsWith(QLatin1Char('/')))
        basePath.chop(1);
    url.setPath(basePath + path(namespaceName));
    return url;
}

void SignalTransport::sendBatch(QList<SignalPostBody> batch, const TelemetryManagerConfiguration &configuration,
                                std::shared_ptr<SignalCache> cache)
{
    Q_ASSERT(QThread::currentThread() == UtilityQueue::context()->thread());
    const std::optional<LogHandler> logHandler = configuration.logHandler.get();
    const auto log = [logHandler](LogHandler::LogLevel level, const QString &message) {
        if (logHandler)
            logHandler->log(level, message);
    };
    const std::optional<QByteArray> body = SignalPostBody::encodeForWire(batch);
    if (!body) {
        log(LogHandler::LogLevel::error,
            QStringLiteral("Could not encode a batch of %1 signals (a floatValue is not a finite number); the batch is dropped")
                .arg(batch.size()));
        return;
    }
    log(LogHandler::LogLevel::debug, QString::fromUtf8(*body));

    if (!m_network)
        m_network = new QNetworkAccessManager;
    QNetworkRequest request(requestURL(configuration.apiBaseURL, configuration.namespaceName));
    request.setTransferTimeout(timeoutMilliseconds);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/json"));
    QNetworkReply *reply = m_network->post(request, *body);
    QObject::connect(reply, &QNetworkReply::finished, reply, [reply, batch = std::move(batch), cache, log] {
        reply->deleteLater();
        const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
        if (!status.isValid() && reply->error() != QNetworkReply::NoError) {
            log(LogHandler::LogLevel::error, reply->errorString());
            cache->pushSignals(batch);
            return;
        }
        if (status.isValid()) {
            if (const auto error = validateResponse(status.toInt())) {
                log(LogHandler::LogLevel::error, error->text());
                cache->pushSignals(batch);
                return;
            }
        }
        const QByteArray answer = reply->readAll();
        if (!answer.isEmpty())
            log(LogHandler::LogLevel::debug, QString::fromUtf8(answer));
    });
}
