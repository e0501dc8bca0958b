#pragma once
// A tiny HTTP/1.1 server on 127.0.0.1 for tests of code that loads from the web: each path gets a
// canned answer (status, body) or no answer at all, and every request is counted.

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QObject>
#include <QTcpServer>
#include <QUrl>

class QTcpSocket;

class LoopbackHttpServer : public QObject {
public:
    struct Response {
        int status = 200;
        QByteArray body;
        QByteArray contentType = "application/octet-stream";
        bool neverAnswer = false; // keep the connection open and silent
    };

    // A request as received: header names in lower case, the body whole (by Content-Length).
    struct Request {
        QByteArray method;
        QString path;
        QHash<QByteArray, QByteArray> headers;
        QByteArray body;
    };

    LoopbackHttpServer();

    QUrl url(const QString &path) const;
    void setResponse(const QString &path, Response response);
    int requestCount(const QString &path) const { return m_counts.value(path); }
    const QList<Request> &requests() const { return m_requests; }

private:
    void answer(QTcpSocket *socket);

    QTcpServer m_server;
    QHash<QString, Response> m_responses;
    QHash<QString, int> m_counts;
    QList<Request> m_requests;
    QHash<QTcpSocket *, QByteArray> m_received;
};
