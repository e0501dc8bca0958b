#include "DunmoorUIKit/IncludedLogs.h"

#include "Support/Log.h"

namespace IncludedLogsDetail {

QString line(const QString &subsystem, const QString &category, int level, const QString &message)
{
    if (level < 0)
        return message + u'\n';
    return subsystem + QStringLiteral("; ") + category + QStringLiteral("; ") + QString::number(level) +
           QStringLiteral("; ") + message + u'\n';
}

bool containsFolded(const QString &text, const QString &part)
{
    auto fold = [](const QString &value) {
        QString decomposed = value.normalized(QString::NormalizationForm_D);
        decomposed.removeIf([](QChar c) { return c.category() == QChar::Mark_NonSpacing; });
        return decomposed.toCaseFolded();
    };
    return fold(text).contains(fold(part));
}

} // namespace IncludedLogsDetail

namespace {

int unifiedLevel(Log::Level level)
{
    switch (level) {
    case Log::Level::debug: return 1;
    case Log::Level::info: return 2;
    case Log::Level::defaultLevel: return 3;
    case Log::Level::error: return 4;
    }
    return 0;
}

} // namespace

QString IncludedLogs::collect() const
{
    if (!isCurrentProcess())
        return IncludedLogsDetail::readJournal(m_processName);
    QString text;
    for (const LogStore::Entry &entry : LogStore::shared().entries()) {
        if (entry.level >= Log::Level::error)
            text += IncludedLogsDetail::line(entry.subsystem, entry.category, unifiedLevel(entry.level), entry.message);
    }
    return text;
}
