#pragma once
// The queue of signals waiting to be sent, head first, with the file that carries it from one run
// to the next: read and deleted when the cache is made, written whole when the application quits.
// Thread-safe: the queue is touched only under its mutex, from the main thread, the worker and the
// network's replies alike.
//
// There is no limit on the queue's length and no back-off: a failed batch is pushed back at the
// tail and the next send takes whatever stands at the head.

#include "TelemetryDeck/LogHandler.h"
#include "TelemetryDeck/SignalPostBody.h"

#include <QMutex>
#include <optional>

class SignalCache {
public:
    static constexpr qsizetype maximumNumberOfSignalsToPopAtOnce = 100;

    // Loads the file at filePath, if there is one, and deletes it before decoding it: a file that
    // cannot be decoded is gone with its signals, and a later run does not stumble on it again.
    SignalCache(QString filePath, std::optional<LogHandler> logHandler);

    qsizetype signalCount() const;
    void pushSignal(SignalPostBody signal);
    void pushSignals(const QList<SignalPostBody> &signals);
    // Removes and returns the first min(100, count) records.
    QList<SignalPostBody> popBatch();
    // Writes the whole queue to the file and empties the queue; on a failed write the queue stays.
    void backupCache();
    // Empties the queue and deletes the file: the user withdrew consent.
    void discardAll();

    QString filePath() const { return m_filePath; }

private:
    void loadCache();
    void log(LogHandler::LogLevel level, const QString &message) const;

    const QString m_filePath;
    const std::optional<LogHandler> m_logHandler;
    mutable QMutex m_mutex;
    QList<SignalPostBody> m_cachedSignals;
};
