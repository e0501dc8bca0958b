#pragma once
// The client's own logging: a level and a function that receives each line at or above it.
// The standard handler writes to the "TelemetryDeck.LogHandler" logging category; error lines
// also reach the application's log store, so the feedback form sees failed sends.

#include <QString>
#include <functional>

struct LogHandler {
    enum class LogLevel { debug = 0, info = 1, error = 2 };

    LogLevel logLevel = LogLevel::info;
    std::function<void(LogLevel, const QString &)> handler;

    // Hands the message on when the handler's level is not above the call's.
    void log(LogLevel level, const QString &message) const
    {
        if (handler && int(logLevel) <= int(level))
            handler(level, message);
    }

    static LogHandler standard(LogLevel level);
};

// "DEBUG", "INFO", "ERROR".
QString description(LogHandler::LogLevel level);
