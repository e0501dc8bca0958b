#pragma once
// Logging for Lumevar: one Qt logging category per subsystem, named "<app id>.<category>", four
// levels, and printf-style lines ("Failed to load albums: %@") filled from any printable values.
// Error-level lines are also kept in LogStore for the feedback form.

#include <QDateTime>
#include <QList>
#include <QLoggingCategory>
#include <QMutex>
#include <QString>
#include <QStringList>

class Error;

namespace Log {

// The subsystem of every line: the application's identifier.
inline constexpr const char *subsystem = "com.dunmoor.Lumevar";

enum class Level { debug, info, defaultLevel, error };

const QLoggingCategory &sync();
const QLoggingCategory &images();
const QLoggingCategory &playback();
const QLoggingCategory &collection();
const QLoggingCategory &app();

// Text forms of the values a log line may carry.
inline QString text(const QString &value) { return value; }
inline QString text(const char *value) { return QString::fromUtf8(value); }
QString text(const Error &error);
QString text(const std::exception &error);
template <typename Number>
    requires std::is_arithmetic_v<Number>
QString text(Number value)
{
    if constexpr (std::is_same_v<Number, bool>)
        return value ? QStringLiteral("true") : QStringLiteral("false");
    else
        return QString::number(value);
}

// Replaces each conversion (%@ %s %d %i %ld %lu %f %.2f %g …) in order with the next argument's
// text; a precision on a floating conversion is honoured; "%%" is a percent sign.
QString format(const char *pattern, const QStringList &arguments, const QList<double> &numbers = {});

// The text with the credentials of any URL in it (the query items p, t, s and apiKey of a music
// server's requests) replaced by "…". write() applies it to every line, so that no path can log
// a password; texts shown to the user go through it too.
QString withoutCredentials(const QString &text);

void write(const QLoggingCategory &category, Level level, const QString &message);

template <typename... Args>
void line(const QLoggingCategory &category, Level level, const char *pattern, const Args &...args)
{
    QList<double> numbers;
    [[maybe_unused]] auto number = [&numbers](const auto &value) {
        if constexpr (std::is_arithmetic_v<std::decay_t<decltype(value)>>)
            numbers.append(double(value));
        else
            numbers.append(qQNaN());
    };
    (number(args), ...);
    write(category, level, format(pattern, QStringList{text(args)...}, numbers));
}

template <typename... Args>
void debug(const QLoggingCategory &c, const char *p, const Args &...a) { line(c, Level::debug, p, a...); }
template <typename... Args>
void info(const QLoggingCategory &c, const char *p, const Args &...a) { line(c, Level::info, p, a...); }
template <typename... Args>
void notice(const QLoggingCategory &c, const char *p, const Args &...a) { line(c, Level::defaultLevel, p, a...); }
template <typename... Args>
void error(const QLoggingCategory &c, const char *p, const Args &...a) { line(c, Level::error, p, a...); }

} // namespace Log

// The error-level entries of this process, newest last, for the feedback form. Thread-safe.
// Qt's own critical messages are taken in as well once installMessageHandler() has run.
class LogStore {
public:
    struct Entry {
        QDateTime date;
        QString subsystem;
        QString category;
        Log::Level level;
        QString message;
    };

    static LogStore &shared();

    void append(Entry entry);
    QList<Entry> entries() const;
    void clear();

    // Routes Qt's message output through the store (error level and above) before printing it.
    static void installMessageHandler();

    static constexpr qsizetype capacity = 2000;

private:
    mutable QMutex m_mutex;
    QList<Entry> m_entries;
};
