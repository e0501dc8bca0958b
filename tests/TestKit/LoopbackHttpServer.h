#pragma once
// A small HTTP/1.1 server on 127.0.0.1 for tests of code that talks to the web: the one request
// reader and responder of the tests. It reads whole requests (the head, then the body by its
// Content-Length), keeps them in order and answers each, then closes the connection. Answers are
// canned per path (404 for any other), or come from a handler of the test's own that returns the
// answer's exact bytes, or nothing to keep the connection open and silent.

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QObject>
#include <QTcpServer>
#include <QUrl>
#include <functional>
#include <optional>

class QJsonDocument;
class QTcpSocket;

class LoopbackHttpServer : public QObject {
    Q_OBJECT
public:
    struct Response {
        int status = 200;
        QByteArray body;
        QByteArray contentType = "application/octet-stream";
        bool neverAnswer = false; // keep the connection open and silent
        // The status line, headers and body as sent.
        QByteArray bytes() const;
    };

    // A request as received: header names in lower case, the body whole.
    struct Request {
        QByteArray method;
        QString path; // the target as sent, query included
        QHash<QByteArray, QByteArray> headers;
        QByteArray body;
        // The target as a URL, for its decoded path and its query.
        QUrl url() const;
        QJsonDocument json() const;
    };

    using Handler = std::function<std::optional<QByteArray>(const Request &)>;

    // Answers with the responses set per path.
    LoopbackHttpServer();
    // Answers through handler.
    explicit LoopbackHttpServer(Handler handler);

    QUrl root() const;
    QUrl url(const QString &path) const;
    void setResponse(const QString &path, Response response);
    int requestCount(const QString &path) const { return m_counts.value(path); }
    const QList<Request> &requests() const { return m_requests; }
    // Runs the event loop until count requests have come; false when limitMs passed first.
    bool waitForRequests(qsizetype count, int limitMs = 30000);

    // An address on this machine where nothing listens, so a connection is refused.
    static QUrl refusingURL();

Q_SIGNALS:
    void requestReceived();

private:
    void read(QTcpSocket *socket);
    std::optional<QByteArray> cannedAnswer(const Request &request) const;

    Handler m_handler;
    QTcpServer m_server;
    QHash<QString, Response> m_responses;
    QHash<QString, int> m_counts;
    QList<Request> m_requests;
    QHash<QTcpSocket *, QByteArray> m_received;
};
