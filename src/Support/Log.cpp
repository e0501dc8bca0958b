#include "Support/Log.h"

#include "Support/Error.h"

#include <QMutex>
#include <QMutexLocker>
#include <QRegularExpression>
#include <cmath>

namespace {
QtMessageHandler previousHandler = nullptr;
// Set while write() prints an error line it has already stored.
thread_local bool writingOwnLine = false;
} // namespace

namespace Log {

Q_LOGGING_CATEGORY(syncCategory, "com.dunmoor.Lumevar.sync")
Q_LOGGING_CATEGORY(imagesCategory, "com.dunmoor.Lumevar.images")
Q_LOGGING_CATEGORY(playbackCategory, "com.dunmoor.Lumevar.playback")
Q_LOGGING_CATEGORY(collectionCategory, "com.dunmoor.Lumevar.collection")
Q_LOGGING_CATEGORY(appCategory, "com.dunmoor.Lumevar.app")

const QLoggingCategory &sync() { return syncCategory(); }
const QLoggingCategory &images() { return imagesCategory(); }
const QLoggingCategory &playback() { return playbackCategory(); }
const QLoggingCategory &collection() { return collectionCategory(); }
const QLoggingCategory &app() { return appCategory(); }

QString text(const Error &error) { return error.debugDescription(); }
QString text(const std::exception &error) { return QString::fromUtf8(error.what()); }

QString format(const char *pattern, const QStringList &arguments, const QList<double> &numbers)
{
    const QString source = QString::fromUtf8(pattern);
    QString out;
    out.reserve(source.size() + 32);
    qsizetype next = 0;
    for (qsizetype i = 0; i < source.size(); ++i) {
        const QChar c = source[i];
        if (c != u'%' || i + 1 >= source.size()) {
            out += c;
            continue;
        }
        if (source[i + 1] == u'%') {
            out += u'%';
            ++i;
            continue;
        }
        // Flags, width, precision and length modifiers, then the conversion.
        qsizetype j = i + 1;
        int precision = -1;
        while (j < source.size() && (source[j].isDigit() || source[j] == u'-' || source[j] == u'+'))
            ++j;
        if (j < source.size() && source[j] == u'.') {
            qsizetype k = j + 1;
            while (k < source.size() && source[k].isDigit())
                ++k;
            precision = source.mid(j + 1, k - j - 1).toInt();
            j = k;
        }
        while (j < source.size() && (source[j] == u'l' || source[j] == u'h' || source[j] == u'z' || source[j] == u'q'))
            ++j;
        if (j >= source.size() || !QStringLiteral("@sdiufgexXc").contains(source[j])) {
            out += c; // not a conversion: keep the text as it is
            continue;
        }
        const QChar conversion = source[j];
        if (next < arguments.size()) {
            const double number = next < numbers.size() ? numbers[next] : qQNaN();
            if ((conversion == u'f' || conversion == u'g' || conversion == u'e') && !std::isnan(number))
                out += QString::number(number, conversion.toLatin1(), precision < 0 ? 6 : precision);
            else
                out += arguments[next];
            ++next;
        } else {
            out += QStringLiteral("(null)");
        }
        i = j;
    }
    return out;
}

QString withoutCredentials(const QString &text)
{
    if (!text.contains(u'?'))
        return text;
    static const QRegularExpression credential(QStringLiteral("([?&](?:p|t|s|apiKey)=)[^&\\s\"'<>]*"));
    QString cleaned = text;
    cleaned.replace(credential, QStringLiteral("\\1…"));
    return cleaned;
}

void write(const QLoggingCategory &category, Level level, const QString &rawMessage, const char *file, int line,
           const char *function)
{
    const QString message = withoutCredentials(rawMessage);
    const QMessageLogger logger(file, line, function, category.categoryName());
    switch (level) {
    case Level::debug:
        if (category.isDebugEnabled())
            logger.debug().noquote() << message;
        break;
    case Level::info:
    case Level::defaultLevel:
        if (category.isInfoEnabled())
            logger.info().noquote() << message;
        break;
    case Level::error:
        // Kept directly: the store must see errors even when the category is filtered out.
        LogStore::shared().append({QDateTime::currentDateTime(), QString::fromUtf8(subsystem),
                                   QString::fromUtf8(category.categoryName()).section(u'.', -1), level, message});
        if (category.isCriticalEnabled()) {
            writingOwnLine = true;
            logger.critical().noquote() << message;
            writingOwnLine = false;
        }
        break;
    }
}

void write(const QLoggingCategory &category, Level level, const QString &message)
{
    write(category, level, message, nullptr, 0, nullptr);
}

} // namespace Log

LogStore &LogStore::shared()
{
    static LogStore store;
    return store;
}

void LogStore::append(Entry entry)
{
    QMutexLocker lock(&m_mutex);
    if (m_ring.size() < std::size_t(capacity)) {
        m_ring.push_back(std::move(entry));
        return;
    }
    m_ring[m_oldest] = std::move(entry);
    m_oldest = (m_oldest + 1) % m_ring.size();
}

QList<LogStore::Entry> LogStore::entries() const
{
    QMutexLocker lock(&m_mutex);
    QList<Entry> ordered;
    ordered.reserve(qsizetype(m_ring.size()));
    for (std::size_t i = 0; i < m_ring.size(); ++i)
        ordered.append(m_ring[(m_oldest + i) % m_ring.size()]);
    return ordered;
}

void LogStore::clear()
{
    QMutexLocker lock(&m_mutex);
    m_ring.clear();
    m_oldest = 0;
}

static void storingMessageHandler(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if ((type == QtCriticalMsg || type == QtFatalMsg) && !writingOwnLine) {
        const QString name = QString::fromUtf8(context.category ? context.category : "default");
        const QString prefix = QString::fromUtf8(Log::subsystem) + u'.';
        const bool ours = name.startsWith(prefix);
        LogStore::shared().append({QDateTime::currentDateTime(), ours ? QString::fromUtf8(Log::subsystem) : QStringLiteral("qt"),
                                   ours ? name.mid(prefix.size()) : name, Log::Level::error, message});
    }
    if (previousHandler)
        previousHandler(type, context, message);
}

void LogStore::installMessageHandler()
{
    QtMessageHandler previous = qInstallMessageHandler(storingMessageHandler);
    if (previous != storingMessageHandler)
        previousHandler = previous;
}
