#include "TestKit/LoopbackHttpServer.h"

#include <QEventLoop>
#include <QJsonDocument>
#include <QTcpSocket>
#include <QTimer>

QByteArray LoopbackHttpServer::Response::bytes() const
{
    return "HTTP/1.1 " + QByteArray::number(status) + " Canned\r\nContent-Type: " + contentType +
           "\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\nConnection: close\r\n\r\n" + body;
}

QUrl LoopbackHttpServer::Request::url() const { return QUrl(QStringLiteral("http://127.0.0.1") + path); }

QJsonDocument LoopbackHttpServer::Request::json() const { return QJsonDocument::fromJson(body); }

LoopbackHttpServer::LoopbackHttpServer() : LoopbackHttpServer(Handler()) {}

LoopbackHttpServer::LoopbackHttpServer(Handler handler) : m_handler(std::move(handler))
{
    if (!m_handler)
        m_handler = [this](const Request &request) { return cannedAnswer(request); };
    m_server.listen(QHostAddress::LocalHost);
    connect(&m_server, &QTcpServer::newConnection, this, [this] {
        while (QTcpSocket *socket = m_server.nextPendingConnection()) {
            socket->setParent(this);
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] { read(socket); });
            connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
                m_received.remove(socket);
                socket->deleteLater();
            });
        }
    });
}

QUrl LoopbackHttpServer::root() const { return QUrl(QStringLiteral("http://127.0.0.1:%1").arg(m_server.serverPort())); }

QUrl LoopbackHttpServer::url(const QString &path) const
{
    return QUrl(QStringLiteral("http://127.0.0.1:%1%2").arg(m_server.serverPort()).arg(path));
}

void LoopbackHttpServer::setResponse(const QString &path, Response response)
{
    m_responses.insert(path, std::move(response));
}

bool LoopbackHttpServer::waitForRequests(qsizetype count, int limitMs)
{
    if (m_requests.size() >= count)
        return true;
    QEventLoop loop;
    QTimer::singleShot(limitMs, &loop, &QEventLoop::quit);
    const QMetaObject::Connection counting = connect(this, &LoopbackHttpServer::requestReceived, &loop, [&] {
        if (m_requests.size() >= count)
            loop.quit();
    });
    loop.exec();
    disconnect(counting);
    return m_requests.size() >= count;
}

QUrl LoopbackHttpServer::refusingURL()
{
    // A port the system just handed out and took back: nothing else binds it this soon.
    QTcpServer closed;
    closed.listen(QHostAddress::LocalHost);
    const quint16 port = closed.serverPort();
    closed.close();
    return QUrl(QStringLiteral("http://127.0.0.1:%1").arg(port));
}

std::optional<QByteArray> LoopbackHttpServer::cannedAnswer(const Request &request) const
{
    const Response response = m_responses.value(request.path, Response{404, "<html>not found</html>", "text/html"});
    if (response.neverAnswer)
        return std::nullopt;
    return response.bytes();
}

void LoopbackHttpServer::read(QTcpSocket *socket)
{
    QByteArray &received = m_received[socket];
    received += socket->readAll();
    const qsizetype headEnd = received.indexOf("\r\n\r\n");
    if (headEnd < 0)
        return;
    Request request;
    const QList<QByteArray> lines = received.left(headEnd).split('\n');
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const qsizetype colon = lines[i].indexOf(':');
        if (colon > 0)
            request.headers.insert(lines[i].left(colon).trimmed().toLower(), lines[i].mid(colon + 1).trimmed());
    }
    const qsizetype bodyLength = request.headers.value("content-length").toLongLong();
    if (received.size() - (headEnd + 4) < bodyLength)
        return; // the body is still on its way
    const QList<QByteArray> requestLine = lines.value(0).trimmed().split(' ');
    request.method = requestLine.value(0);
    request.path = QString::fromUtf8(requestLine.value(1));
    request.body = received.mid(headEnd + 4, bodyLength);
    m_received.remove(socket);
    m_requests.append(request);
    ++m_counts[request.path];
    const std::optional<QByteArray> answer = m_handler(m_requests.constLast());
    Q_EMIT requestReceived();
    if (!answer)
        return;
    socket->write(*answer);
    socket->disconnectFromHost();
}
