#include "ScriptedPeer.h"

#include <QTcpSocket>

ScriptedPeer::ScriptedPeer(Script script) : m_script(std::move(script))
{
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

QUrl ScriptedPeer::root() const { return QUrl(QStringLiteral("http://127.0.0.1:%1").arg(m_server.serverPort())); }

QByteArray ScriptedPeer::json(const QByteArray &body)
{
    return "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: " + QByteArray::number(body.size()) +
           "\r\nConnection: close\r\n\r\n" + body;
}

QByteArray ScriptedPeer::ok(const QByteArray &members)
{
    return json(R"({"subsonic-response":{"status":"ok","version":"1.16.1")" + (members.isEmpty() ? QByteArray() : "," + members) +
                "}}");
}

QByteArray ScriptedPeer::failed(int code, const QByteArray &message)
{
    return json(R"({"subsonic-response":{"status":"failed","version":"1.10.2","error":{"code":)" + QByteArray::number(code) +
                R"(,"message":")" + message + "\"}}}");
}

void ScriptedPeer::read(QTcpSocket *socket)
{
    QByteArray &received = m_received[socket];
    received += socket->readAll();
    if (!received.contains("\r\n\r\n"))
        return;
    const QList<QByteArray> requestLine = received.left(received.indexOf("\r\n")).split(' ');
    received.clear();
    const QUrl url(QStringLiteral("http://peer") + QString::fromUtf8(requestLine.value(1)));
    ++m_requests;
    m_queries.append(QUrlQuery(url));
    const std::optional<QByteArray> answer = m_script(url.path(), QUrlQuery(url));
    if (!answer)
        return;
    socket->write(*answer);
    socket->disconnectFromHost();
}
