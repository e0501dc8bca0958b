#include "TelemetryDeck/SignalCache.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QUrl>

SignalCache::SignalCache(QString filePath, std::optional<LogHandler> logHandler)
    : m_filePath(std::move(filePath)), m_logHandler(std::move(logHandler))
{
    loadCache();
}

void SignalCache::log(LogHandler::LogLevel level, const QString &message) const
{
    if (m_logHandler)
        m_logHandler->log(level, message);
}

void SignalCache::loadCache()
{
    log(LogHandler::LogLevel::info,
        QStringLiteral("Loading Telemetry cache from: ") + QUrl::fromLocalFile(m_filePath).toString());
    QFile file(m_filePath);
    if (!file.open(QIODevice::ReadOnly))
        return; // no file: the usual case
    const QByteArray data = file.readAll();
    file.close();
    if (!QFile::remove(m_filePath))
        log(LogHandler::LogLevel::error, QStringLiteral("Could not delete the Telemetry cache after reading it"));
    auto signals = SignalPostBody::decodeFromCache(data);
    if (!signals) {
        log(LogHandler::LogLevel::error,
            QStringLiteral("Telemetry cache could not be decoded; %1 bytes discarded").arg(data.size()));
        return;
    }
    log(LogHandler::LogLevel::info, QStringLiteral("Loaded %1 signals").arg(signals->size()));
    const QMutexLocker lock(&m_mutex);
    m_cachedSignals = std::move(*signals);
}

qsizetype SignalCache::signalCount() const
{
    const QMutexLocker lock(&m_mutex);
    return m_cachedSignals.size();
}

void SignalCache::pushSignal(SignalPostBody signal)
{
    const QMutexLocker lock(&m_mutex);
    m_cachedSignals.append(std::move(signal));
}

void SignalCache::pushSignals(const QList<SignalPostBody> &signals)
{
    const QMutexLocker lock(&m_mutex);
    m_cachedSignals.append(signals);
}

QList<SignalPostBody> SignalCache::popBatch()
{
    const QMutexLocker lock(&m_mutex);
    const qsizetype count = std::min(maximumNumberOfSignalsToPopAtOnce, m_cachedSignals.size());
    QList<SignalPostBody> batch = m_cachedSignals.first(count);
    m_cachedSignals.remove(0, count);
    return batch;
}

void SignalCache::backupCache()
{
    const QMutexLocker lock(&m_mutex);
    const QByteArray data = SignalPostBody::encodeForCache(m_cachedSignals);
    QDir().mkpath(QFileInfo(m_filePath).absolutePath());
    QFile file(m_filePath);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(data) != data.size()) {
        log(LogHandler::LogLevel::error, QStringLiteral("Error saving Telemetry cache"));
        return;
    }
    file.close();
    log(LogHandler::LogLevel::info, QStringLiteral("Saved Telemetry cache %1 bytes of %2 signals")
                                        .arg(data.size())
                                        .arg(m_cachedSignals.size()));
    m_cachedSignals.clear();
}

void SignalCache::discardAll()
{
    const QMutexLocker lock(&m_mutex);
    m_cachedSignals.clear();
    if (QFile::exists(m_filePath) && !QFile::remove(m_filePath))
        log(LogHandler::LogLevel::error, QStringLiteral("Could not delete the Telemetry cache"));
}
