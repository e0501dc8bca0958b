#pragma once
// Session statistics kept on the user's machine, so every signal can carry retention figures:
// how long the previous session lasted, the average session, how many sessions and on how many
// distinct days. The history lives in the client's own settings file ("recentSessions",
// "deletedSessionsCount", "firstSessionDate", "distinctDaysUsed"), keeps 90 days, and counts only
// time with the application active: a 1-second timer adds the time since its last tick and stores
// the history, and resigning stops it until the application is active again.
//
// The first session of an empty history sends "TelemetryDeck.Acquisition.newInstallDetected".
//
// Main thread only; the stored history is written on the worker, in order, from snapshots, and the
// stored figures are read once at construction and kept beside what is written.

#include "TelemetryDeck/SignalPostBody.h"

#include <QObject>
#include <QStringList>
#include <functional>
#include <memory>
#include <optional>

class ScheduledCall;
class UserDefaults;

struct StoredSession {
    qint64 startedAt = 0;         // whole seconds since 1970
    qint64 durationInSeconds = 0; // whole seconds of active use

    bool operator==(const StoredSession &) const = default;

    // The stored form: a JSON array of {"st": seconds, "dn": seconds}.
    static QByteArray encode(const QList<StoredSession> &sessions);
    static std::optional<QList<StoredSession>> decode(const QByteArray &data);
};

class SessionManager : public QObject {
public:
    using SendSignal = std::function<void(const QString &name, const TelemetryDeck::Parameters &parameters)>;

    static constexpr double historyAge = 7776000.0;  // 90 days
    static constexpr double lastMonthAge = 2592000.0; // 30 days

    // customDefaults may be null: then reads are empty and nothing is stored.
    SessionManager(UserDefaults *customDefaults, SendSignal sendInternalSignal);
    ~SessionManager() override;

    void startNewSession();
    void updateSessionDuration();
    void handleDidEnterBackgroundNotification();
    void handleWillEnterForegroundNotification();
    // Stops the timer for good (consent withdrawn).
    void stop();

    QList<StoredSession> recentSessions() const { return m_recentSessions; }
    // -1 with no history; else the average of all sessions but the one under way.
    qint64 averageSessionSeconds() const;
    std::optional<qint64> previousSessionSeconds() const;
    qint64 totalSessionsCount() const;
    QString firstSessionDate() const;
    QStringList distinctDaysUsed() const;
    qint64 distinctDaysUsedLastMonth() const;

    // The day text in the local time zone, e.g. "2024-05-17".
    static QString dayText(double secondsSinceReferenceDate);

private:
    void stopTimer();
    void startTimer();
    void persistCurrentSession();
    void updateDistinctDays();

    UserDefaults *m_defaults;
    SendSignal m_sendInternalSignal;
    QList<StoredSession> m_recentSessions;
    double m_currentSessionStartedAt = -1e18; // the distant past
    double m_currentSessionDuration = 0;
    std::unique_ptr<ScheduledCall> m_sessionDurationUpdater;
    std::optional<double> m_sessionDurationLastUpdatedAt;
    // What this manager stored, read once: only it writes these keys, and every signal reads them.
    qint64 m_deletedSessionsCount = 0;
    std::optional<QString> m_firstSessionDate;
    QStringList m_distinctDaysUsed;
};
