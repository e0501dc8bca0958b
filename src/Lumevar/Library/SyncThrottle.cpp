#include "Lumevar/Library/SyncThrottle.h"

#include "Support/Clock.h"
#include "Support/Log.h"
#include "Support/UserDefaults.h"

bool SyncThrottle::isDue(const QString &key) const
{
    return m_defaults.doubleValue(key) <= m_clock.now() - interval;
}

void SyncThrottle::recordSuccess(const QString &key)
{
    m_defaults.set(key, m_clock.now());
}

QCoro::Task<void> runThrottledListSync(SyncThrottle throttle, QString key, const char *skippedLine,
                                       std::function<QCoro::Task<void>()> sync)
{
    if (!throttle.isDue(key)) {
        LUMEVAR_NOTICE(Log::sync(), skippedLine);
        co_return;
    }
    co_await sync();
    throttle.recordSuccess(key);
}
