#pragma once
// The ingestion service as the tests see it: the loopback HTTP server answering each request with
// the next status of its list (200 once the list is used up) and the body "ok". A request's
// records are its body's JSON array (request.json().array()).

#include "TestKit/LoopbackHttpServer.h"

#include <QJsonArray>
#include <QJsonDocument>

class IngestionServer : public LoopbackHttpServer {
public:
    IngestionServer();

    QUrl baseURL() const { return root(); }
    void answerWith(QList<int> statuses) { m_statuses = std::move(statuses); }

private:
    QList<int> m_statuses;
};
