#pragma once
// Logging for Lumevar: one Qt logging category per subsystem, named "<app id>.<category>", four
// levels, and printf-style lines ("Failed to load albums: %@") filled from any printable values.
// Lines are written through the macros below, the way Qt's qCDebug works:
//
//     LUMEVAR_ERROR(Log::sync(), "Failed to load albums: %@", error);
//
// A line whose level its category filters out costs one check: its arguments are not evaluated
// and nothing is formatted. Every line carries its file, line and function to Qt's message
// handler. Error-level lines are also kept in LogStore for the feedback form, even when their
// category is filtered out.

#include <QDateTime>
#include <QList>
#include <QLoggingCategory>
#include <QMutex>
#include <QString>
#include <QStringList>

#include <vector>

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

// Writes one finished line: debug and info lines when the category lets them through, error
// lines always into LogStore and to Qt when the category lets them through. The file, line and
// function go to Qt's message context; a line from elsewhere (another library's log) has none.
void write(const QLoggingCategory &category, Level level, const QString &message, const char *file, int line,
           const char *function);
void write(const QLoggingCategory &category, Level level, const QString &message);

// The category when a line of this level is to be written, else null: the check of the macros.
inline const QLoggingCategory *wanted(const QLoggingCategory &category, Level level)
{
    switch (level) {
    case Level::debug: return category.isDebugEnabled() ? &category : nullptr;
    case Level::info:
    case Level::defaultLevel: return category.isInfoEnabled() ? &category : nullptr;
    case Level::error: return &category; // LogStore keeps it whatever the filter says
    }
    return nullptr;
}

// Fills the pattern and writes the line. The call site comes as plain values: GCC 12 miscompiled
// class-type call-site arguments in calls inside a coroutine's catch block.
template <typename... Args>
void writeLine(const QLoggingCategory &category, Level level, const char *file, int line, const char *function,
               const char *pattern, const Args &...args)
{
    QList<double> numbers;
    [[maybe_unused]] auto number = [&numbers](const auto &value) {
        if constexpr (std::is_arithmetic_v<std::decay_t<decltype(value)>>)
            numbers.append(double(value));
        else
            numbers.append(qQNaN());
    };
    (number(args), ...);
    write(category, level, format(pattern, QStringList{text(args)...}, numbers), file, line, function);
}

} // namespace Log

// The for statement holds the check, as Qt's own logging macros do: the line's arguments are
// evaluated only when it runs, and the macro is one statement, safe before an else. The names
// carry the project's prefix because <syslog.h> (which sd-journal.h includes) defines LOG_INFO,
// LOG_DEBUG and LOG_NOTICE.
#define LUMEVAR_LOG_LINE(level, category, ...)                                                                \
    for (const QLoggingCategory *lumevarLogCategory = ::Log::wanted((category), (level)); lumevarLogCategory; \
         lumevarLogCategory = nullptr)                                                                        \
    ::Log::writeLine(*lumevarLogCategory, (level), __FILE__, __LINE__, Q_FUNC_INFO, __VA_ARGS__)

#define LUMEVAR_DEBUG(category, ...) LUMEVAR_LOG_LINE(::Log::Level::debug, category, __VA_ARGS__)
#define LUMEVAR_INFO(category, ...) LUMEVAR_LOG_LINE(::Log::Level::info, category, __VA_ARGS__)
#define LUMEVAR_NOTICE(category, ...) LUMEVAR_LOG_LINE(::Log::Level::defaultLevel, category, __VA_ARGS__)
#define LUMEVAR_ERROR(category, ...) LUMEVAR_LOG_LINE(::Log::Level::error, category, __VA_ARGS__)

// The error-level entries of this process, newest last, for the feedback form: the last
// `capacity` of them in a ring, so a line costs the same however many came before. Thread-safe.
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
    std::vector<Entry> m_ring; // grows to capacity, then each entry overwrites the oldest
    std::size_t m_oldest = 0;  // where the oldest entry sits once the ring is full
};
