#pragma once
// The one guard of every library sync: a sync runs only when the time stored under its key is at
// least a day old. The key holds seconds since the reference date of the clock, written when a
// sync of that kind has succeeded; an absent key reads as 0 and so is always old enough, and a
// time in the future counts as recent. No jitter, no retry, no other state.

#include <QCoroTask>
#include <QString>
#include <functional>

class Clock;
class UserDefaults;

class SyncThrottle {
public:
    static constexpr double interval = 86400.0;

    SyncThrottle(UserDefaults &defaults, Clock &clock) : m_defaults(defaults), m_clock(clock) {}

    // True when the stored time is at most now minus a day.
    bool isDue(const QString &key) const;
    // Stores the clock's time, read now, under key. Called only after a sync returned successfully.
    void recordSuccess(const QString &key);

private:
    UserDefaults &m_defaults;
    Clock &m_clock;
};

// The sync step of a list load: when the key is recent, logs skippedLine (default level, "sync")
// and returns; otherwise awaits sync() and then records the success. What sync() throws reaches
// the caller, with the key untouched.
QCoro::Task<void> runThrottledListSync(SyncThrottle throttle, QString key, const char *skippedLine,
                                       std::function<QCoro::Task<void>()> sync);
