#include "ScriptedPeer.h"

ScriptedPeer::ScriptedPeer(Script script)
    : m_server([script = std::move(script)](const LoopbackHttpServer::Request &request) {
          const QUrl url = request.url();
          return script(url.path(), QUrlQuery(url));
      })
{
}

QList<QUrlQuery> ScriptedPeer::queries() const
{
    QList<QUrlQuery> queries;
    for (const LoopbackHttpServer::Request &request : m_server.requests())
        queries.append(QUrlQuery(request.url()));
    return queries;
}

QByteArray ScriptedPeer::json(const QByteArray &body)
{
    return LoopbackHttpServer::Response{200, body, "application/json"}.bytes();
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
