#include "IngestionServer.h"

IngestionServer::IngestionServer()
    : LoopbackHttpServer([this](const Request &) -> std::optional<QByteArray> {
          const int status = m_statuses.isEmpty() ? 200 : m_statuses.takeFirst();
          return Response{status, "ok", "text/plain"}.bytes();
      })
{
}
