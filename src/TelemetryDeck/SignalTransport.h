#pragma once
// Posts one batch to the ingestion service and judges the reply, on the worker. A batch that fails
// (no network, a time-out, any status outside 200 to 299) goes back to the tail of its cache; a
// batch that cannot be encoded is dropped with a log line. There is no guard on requests in
// flight: a batch that takes longer than a tick travels beside the next one.

#include "TelemetryDeck/SignalCache.h"
#include "TelemetryDeck/TelemetryManagerConfiguration.h"

#include <memory>

class QNetworkAccessManager;

class SignalTransport {
public:
    SignalTransport();
    ~SignalTransport();

    // On the worker only.
    void sendBatch(QList<SignalPostBody> batch, const TelemetryManagerConfiguration &configuration,
                   std::shared_ptr<SignalCache> cache);

    // "/v2/" or "/v2/namespace/<name>/".
    static QString path(const std::optional<QString> &namespaceName);
    static QUrl requestURL(const QUrl &baseURL, const std::optional<QString> &namespaceName);

    static constexpr int timeoutMilliseconds = 60000;

private:
    QNetworkAccessManager *m_network = nullptr; // made on the worker at the first send
};
