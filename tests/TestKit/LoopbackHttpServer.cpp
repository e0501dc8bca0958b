#include "TestKit/LoopbackHttpServer.h"

#include <QTcpSocket>

LoopbackHttpServer::LoopbackHttpServer()
{
    m_server.listen(QHostAddress::LocalHost);
    connect(&m_server, &QTcpServer::newConnection, this, [this] {
        while (QTcpSocket *socket = m_server.nextPendingConnection()) {
            socket->setParent(this);
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] { answer(socket); });
        }
    });
}

QUrl LoopbackHttpServer::url(const QString &path) const
{
    return QUrl(QStringLiteral("http://127.0.0.1:%1%2").arg(m_server.serverPort()).arg(path));
}

void LoopbackHttpServer::setResponse(const QString &path, Response response)
{
    m_responses.insert(path, std::move(response));
}

void LoopbackHttpServer::answer(QTcpSocket *socket)
{
    QByteArray &received = m_received[socket];
    received += socket->readAll();
    const qsizetype headEnd = received.indexOf("\r\n\r\n");
    if (headEnd < 0)
        return;
    Request request;
    const QList<QByteArray> lines = received.left(headEnd).split('\n');
    const QList<QByteArray> requestLine = lines.value(0).trimmed().split(' ');
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const qsizetype colon = lines[i].indexOf(':');
        if (colon > 0)
            request.headers.insert(lines[i].left(colon).trimmed().toLower(), lines[i].mid(colon + 1).trimmed());
    }
    const qsizetype bodyLength = request.headers.value("content-length").toLongLong();
    if (received.size() - (headEnd + 4) < bodyLength)
        return; // the body is still on its way
    request.method = requestLine.value(0);
    request.body = received.mid(headEnd + 4, bodyLength);
    m_received.remove(socket);
    const QString path = requestLine.size() > 1 ? QString::fromUtf8(requestLine[1]) : QString();
    request.path = path;
    m_requests.append(request);
    ++m_counts[path];
    const Response response = m_responses.value(path, Response{404, "<html>not found</html>", "text/html"});
    if (response.neverAnswer)
        return;
    QByteArray reply = "HTTP/1.1 " + QByteArray::number(response.status) + " Canned\r\n";
    reply += "Content-Type: " + response.contentType + "\r\n";
    reply += "Content-Length: " + QByteArray::number(response.body.size()) + "\r\n";
    reply += "Connection: close\r\n\r\n";
    reply += response.body;
    socket->write(reply);
    socket->disconnectFromHost();
}
