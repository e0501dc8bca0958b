#pragma once
// Running duration signals by name: when each started, with which parameters, and whether time
// with the application inactive counts. Becoming active again moves the start of every signal
// that does not count that time later by the time away. Thread-safe.

#include "TelemetryDeck/SignalPostBody.h"

#include <QHash>
#include <QMutex>
#include <QObject>
#include <optional>

class DurationSignalTracker : public QObject {
public:
    struct CachedData {
        double startTime = 0;
        TelemetryDeck::Parameters parameters;
        bool includeBackgroundTime = false;
    };
    struct Stopped {
        double seconds; // cut to three decimal places
        TelemetryDeck::Parameters parameters;
    };

    static DurationSignalTracker &shared();
    DurationSignalTracker();

    // A running entry of the same name is replaced.
    void startTracking(const QString &signalName, const TelemetryDeck::Parameters &parameters, bool includeBackgroundTime);
    // nullopt when nothing of that name was running.
    std::optional<Stopped> stopTracking(const QString &signalName);

    void applicationDidResignActive();
    void applicationWillBecomeActive();

private:
    QMutex m_mutex;
    QHash<QString, CachedData> m_startedSignals;
    std::optional<double> m_lastEnteredBackground;
};
