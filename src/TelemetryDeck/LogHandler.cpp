#include "TelemetryDeck/LogHandler.h"

#include "Support/Log.h"

namespace {

const QLoggingCategory &category()
{
    static const QLoggingCategory logCategory("TelemetryDeck.LogHandler");
    return logCategory;
}

} // namespace

LogHandler LogHandler::standard(LogLevel level)
{
    return LogHandler{level, [](LogLevel lineLevel, const QString &message) {
                          switch (lineLevel) {
                          case LogLevel::debug: Log::write(category(), Log::Level::debug, message); break;
                          case LogLevel::info: Log::write(category(), Log::Level::info, message); break;
                          case LogLevel::error: Log::write(category(), Log::Level::error, message); break;
                          }
                      }};
}

QString description(LogHandler::LogLevel level)
{
    switch (level) {
    case LogHandler::LogLevel::debug: return QStringLiteral("DEBUG");
    case LogHandler::LogLevel::info: return QStringLiteral("INFO");
    case LogHandler::LogLevel::error: return QStringLiteral("ERROR");
    }
    return {};
}
