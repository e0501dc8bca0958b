#include "IngestionServer.h"

#include <QJsonDocument>
#include <QTcpSocket>
#include <QTest>

QJsonArray IngestionServer::Request::records() const { return QJsonDocument::fromJson(body).array(); }

IngestionServer::IngestionServer()
{
    m_server.listen(QHostAddress::LocalHost);
    connect(&m_server, &QTcpServer::newConnection, this, [this] {
        while (QTcpSocket *socket = m_server.nextPendingConnection()) {
            socket->setParent(this);
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] { read(socket); });
        }
    });
}

QUrl IngestionServer::baseURL() const { return QUrl(QStringLiteral("http://127.0.0.1:%1").arg(m_server.serverPort())); }

bool IngestionServer::waitForRequests(qsizetype count)
{
    return QTest::qWaitFor([&] { return m_requests.size() >= count; }, 10000);
}

void IngestionServer::read(QTcpSocket *socket)
{
    QByteArray &received = m_received[socket];
    received += socket->readAll();
    const qsizetype headerEnd = received.indexOf("\r\n\r\n");
    if (headerEnd < 0)
        return;
    Request request;
    const QList<QByteArray> lines = received.left(headerEnd).split('\n');
    const QList<QByteArray> requestLine = lines.value(0).trimmed().split(' ');
    request.method = requestLine.value(0);
    request.path = QString::fromUtf8(requestLine.value(1));
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const qsizetype colon = lines[i].indexOf(':');
        if (colon > 0)
            request.headers.insert(lines[i].left(colon).trimmed().toLower(), lines[i].mid(colon + 1).trimmed());
    }
    const qsizetype length = request.headers.value("content-length").toLongLong();
    if (received.size() < headerEnd + 4 + length)
        return; // the body is still coming
    request.body = received.mid(headerEnd + 4, length);
    m_received.remove(socket);
    m_requests.append(request);
    const int status = m_statuses.isEmpty() ? 200 : m_statuses.takeFirst();
    socket->write("HTTP/1.1 " + QByteArray::number(status) + " Canned\r\nContent-Type: text/plain\r\n"
                  "Content-Length: 2\r\nConnection: close\r\n\r\nok");
    socket->disconnectFromHost();
}
