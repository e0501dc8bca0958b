#pragma once
// The ingestion service as the tests see it: an HTTP/1.1 server on 127.0.0.1 that reads whole
// requests (headers and body), keeps them in order, and answers each with the next status of its
// list (200 once the list is used up) and the body "ok".

#include <QByteArray>
#include <QJsonArray>
#include <QList>
#include <QMap>
#include <QObject>
#include <QTcpServer>
#include <QUrl>

class QTcpSocket;

class IngestionServer : public QObject {
public:
    struct Request {
        QByteArray method;
        QString path;
        QMap<QByteArray, QByteArray> headers; // names in lower case
        QByteArray body;
        QJsonArray records() const;
    };

    IngestionServer();

    QUrl baseURL() const;
    void answerWith(QList<int> statuses) { m_statuses = std::move(statuses); }
    const QList<Request> &requests() const { return m_requests; }
    // Spins the event loop until the server has received count requests (false after 10 s).
    bool waitForRequests(qsizetype count);

private:
    void read(QTcpSocket *socket);

    QTcpServer m_server;
    QList<int> m_statuses;
    QList<Request> m_requests;
    QMap<QTcpSocket *, QByteArray> m_received;
};
