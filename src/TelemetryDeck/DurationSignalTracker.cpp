#include "TelemetryDeck/DurationSignalTracker.h"

#include "Support/Clock.h"
#include "TelemetryDeck/ApplicationActivity.h"

#include <cmath>

DurationSignalTracker &DurationSignalTracker::shared()
{
    static DurationSignalTracker tracker;
    return tracker;
}

DurationSignalTracker::DurationSignalTracker()
{
    connect(&ApplicationActivity::shared(), &ApplicationActivity::didResignActive, this,
            &DurationSignalTracker::applicationDidResignActive);
    connect(&ApplicationActivity::shared(), &ApplicationActivity::willBecomeActive, this,
            &DurationSignalTracker::applicationWillBecomeActive);
}

void DurationSignalTracker::startTracking(const QString &signalName, const TelemetryDeck::Parameters &parameters,
                                          bool includeBackgroundTime)
{
    const QMutexLocker lock(&m_mutex);
    m_startedSignals.insert(signalName, {Clock::shared().now(), parameters, includeBackgroundTime});
}

std::optional<DurationSignalTracker::Stopped> DurationSignalTracker::stopTracking(const QString &signalName)
{
    const QMutexLocker lock(&m_mutex);
    const auto found = m_startedSignals.constFind(signalName);
    if (found == m_startedSignals.cend())
        return std::nullopt;
    const CachedData data = *found;
    m_startedSignals.erase(found);
    const double seconds = std::trunc((Clock::shared().now() - data.startTime) * 1000.0) / 1000.0;
    return Stopped{seconds, data.parameters};
}

void DurationSignalTracker::applicationDidResignActive()
{
    const QMutexLocker lock(&m_mutex);
    m_lastEnteredBackground = Clock::shared().now();
}

void DurationSignalTracker::applicationWillBecomeActive()
{
    const QMutexLocker lock(&m_mutex);
    if (!m_lastEnteredBackground)
        return;
    const double away = Clock::shared().now() - *m_lastEnteredBackground;
    for (CachedData &data : m_startedSignals)
        if (!data.includeBackgroundTime)
            data.startTime += away;
    m_lastEnteredBackground.reset();
}
