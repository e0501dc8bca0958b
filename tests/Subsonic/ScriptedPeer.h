#pragma once
// A loopback HTTP peer for the Subsonic wire tests: each request's path and query go to a script
// that returns the exact bytes of the answer (status line, headers and body), or nothing to leave
// the connection silent. It counts requests.

#include <QHash>
#include <QObject>
#include <QTcpServer>
#include <QUrl>
#include <QUrlQuery>
#include <functional>
#include <optional>

class QTcpSocket;

class ScriptedPeer : public QObject {
public:
    using Script = std::function<std::optional<QByteArray>(const QString &path, const QUrlQuery &query)>;

    explicit ScriptedPeer(Script script);

    QUrl root() const;
    int requests() const { return m_requests; }
    QList<QUrlQuery> queries() const { return m_queries; }

    // A 200 answer with a JSON body.
    static QByteArray json(const QByteArray &body);
    // A Subsonic answer: status ok with extra members, or failed with an error code.
    static QByteArray ok(const QByteArray &members = {});
    static QByteArray failed(int code, const QByteArray &message);

private:
    void read(QTcpSocket *socket);

    Script m_script;
    QTcpServer m_server;
    QHash<QTcpSocket *, QByteArray> m_received;
    QList<QUrlQuery> m_queries;
    int m_requests = 0;
};
