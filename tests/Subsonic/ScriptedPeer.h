#pragma once
// A Subsonic server as the wire tests script it: each request's path and query go to a script that
// returns the exact bytes of the answer (status line, headers and body), or nothing to leave the
// connection silent. A layer over the loopback HTTP server, with the Subsonic answers' shapes.

#include "TestKit/LoopbackHttpServer.h"

#include <QUrlQuery>

class ScriptedPeer {
public:
    using Script = std::function<std::optional<QByteArray>(const QString &path, const QUrlQuery &query)>;

    explicit ScriptedPeer(Script script);

    QUrl root() const { return m_server.root(); }
    int requests() const { return int(m_server.requests().size()); }
    QList<QUrlQuery> queries() const;

    // A 200 answer with a JSON body.
    static QByteArray json(const QByteArray &body);
    // A Subsonic answer: status ok with extra members, or failed with an error code.
    static QByteArray ok(const QByteArray &members = {});
    static QByteArray failed(int code, const QByteArray &message);

private:
    LoopbackHttpServer m_server;
};
