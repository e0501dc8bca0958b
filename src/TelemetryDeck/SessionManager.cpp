#include "TelemetryDeck/SessionManager.h"

#include "Support/Clock.h"
#include "Support/UserDefaults.h"
#include "TelemetryDeck/ApplicationActivity.h"
#include "TelemetryDeck/UtilityQueue.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <cmath>

namespace {

const QString recentSessionsKey = QStringLiteral("recentSessions");
const QString deletedSessionsCountKey = QStringLiteral("deletedSessionsCount");
const QString firstSessionDateKey = QStringLiteral("firstSessionDate");
const QString distinctDaysUsedKey = QStringLiteral("distinctDaysUsed");

qint64 unixSeconds(double secondsSinceReferenceDate)
{
    return qint64(std::floor(secondsSinceReferenceDate + referenceDateOffsetFromUnixEpoch));
}

} // namespace

QByteArray StoredSession::encode(const QList<StoredSession> &sessions)
{
    QJsonArray array;
    for (const StoredSession &session : sessions)
        array.append(QJsonObject{{QStringLiteral("st"), session.startedAt}, {QStringLiteral("dn"), session.durationInSeconds}});
    return QJsonDocument(array).toJson(QJsonDocument::Compact);
}

std::optional<QList<StoredSession>> StoredSession::decode(const QByteArray &data)
{
    const QJsonDocument document = QJsonDocument::fromJson(data);
    if (!document.isArray())
        return std::nullopt;
    QList<StoredSession> sessions;
    for (const QJsonValue &value : document.array()) {
        const QJsonValue startedAt = value.toObject().value(QLatin1String("st"));
        const QJsonValue duration = value.toObject().value(QLatin1String("dn"));
        if (!startedAt.isDouble() || !duration.isDouble())
            return std::nullopt;
        sessions.append({qint64(startedAt.toDouble()), qint64(duration.toDouble())});
    }
    return sessions;
}

QString SessionManager::dayText(double secondsSinceReferenceDate)
{
    return QDateTime::fromSecsSinceEpoch(unixSeconds(secondsSinceReferenceDate), Qt::LocalTime)
        .toString(QStringLiteral("yyyy-MM-dd"));
}

SessionManager::SessionManager(UserDefaults *customDefaults, SendSignal sendInternalSignal)
    : m_defaults(customDefaults), m_sendInternalSignal(std::move(sendInternalSignal))
{
    if (m_defaults) {
        m_deletedSessionsCount = m_defaults->integerValue(deletedSessionsCountKey);
        m_firstSessionDate = m_defaults->stringValue(firstSessionDateKey);
        m_distinctDaysUsed = m_defaults->stringArrayValue(distinctDaysUsedKey).value_or(QStringList());
        if (const auto data = m_defaults->dataValue(recentSessionsKey)) {
            const QList<StoredSession> stored = StoredSession::decode(*data).value_or(QList<StoredSession>());
            // Only the last 90 days are kept; the rest are counted.
            const qint64 cutOff = unixSeconds(Clock::shared().now() - historyAge);
            for (const StoredSession &session : stored)
                if (session.startedAt > cutOff)
                    m_recentSessions.append(session);
            m_deletedSessionsCount += stored.size() - m_recentSessions.size();
            UtilityQueue::post([defaults = m_defaults, count = m_deletedSessionsCount] {
                defaults->set(deletedSessionsCountKey, count);
            });
        }
    }
    updateDistinctDays();
    connect(&ApplicationActivity::shared(), &ApplicationActivity::didResignActive, this,
            &SessionManager::handleDidEnterBackgroundNotification);
    connect(&ApplicationActivity::shared(), &ApplicationActivity::willBecomeActive, this,
            &SessionManager::handleWillEnterForegroundNotification);
}

SessionManager::~SessionManager() = default;

void SessionManager::stopTimer()
{
    m_sessionDurationUpdater.reset();
    m_sessionDurationLastUpdatedAt.reset();
}

void SessionManager::startTimer()
{
    m_sessionDurationUpdater = Clock::shared().schedule(1.0, [this] { updateSessionDuration(); }, 1.0);
}

void SessionManager::stop()
{
    stopTimer();
    disconnect(&ApplicationActivity::shared(), nullptr, this, nullptr);
}

void SessionManager::startNewSession()
{
    stopTimer();
    if (m_recentSessions.isEmpty()) {
        const QString today = dayText(Clock::shared().now());
        if (m_defaults) {
            m_firstSessionDate = today;
            UtilityQueue::post([defaults = m_defaults, today] { defaults->set(firstSessionDateKey, today); });
        }
        if (m_sendInternalSignal)
            m_sendInternalSignal(QStringLiteral("TelemetryDeck.Acquisition.newInstallDetected"),
                                 {{QStringLiteral("TelemetryDeck.Acquisition.firstSessionDate"), today}});
    }
    m_currentSessionStartedAt = Clock::shared().now();
    m_currentSessionDuration = 0;
    updateSessionDuration();
    startTimer();
}

void SessionManager::updateSessionDuration()
{
    const double now = Clock::shared().now();
    if (m_sessionDurationLastUpdatedAt)
        m_currentSessionDuration += now - *m_sessionDurationLastUpdatedAt;
    m_sessionDurationLastUpdatedAt = now;
    persistCurrentSession();
}

void SessionManager::persistCurrentSession()
{
    if (m_currentSessionDuration < 1.0)
        return;
    const qint64 startedAt = unixSeconds(m_currentSessionStartedAt);
    const auto duration = qint64(m_currentSessionDuration);
    auto found = std::find_if(m_recentSessions.rbegin(), m_recentSessions.rend(),
                              [startedAt](const StoredSession &session) { return session.startedAt == startedAt; });
    if (found != m_recentSessions.rend())
        found->durationInSeconds = duration;
    else
        m_recentSessions.append({startedAt, duration});
    if (m_defaults)
        UtilityQueue::post([defaults = m_defaults, sessions = m_recentSessions] {
            defaults->set(recentSessionsKey, StoredSession::encode(sessions));
        });
}

void SessionManager::handleDidEnterBackgroundNotification()
{
    updateSessionDuration();
    stopTimer();
}

void SessionManager::handleWillEnterForegroundNotification()
{
    updateSessionDuration();
    startTimer();
}

void SessionManager::updateDistinctDays()
{
    const QString today = dayText(Clock::shared().now());
    if (!m_defaults || (!m_distinctDaysUsed.isEmpty() && m_distinctDaysUsed.last() == today))
        return;
    m_distinctDaysUsed.append(today);
    UtilityQueue::post([defaults = m_defaults, days = m_distinctDaysUsed] { defaults->set(distinctDaysUsedKey, days); });
}

qint64 SessionManager::averageSessionSeconds() const
{
    if (m_recentSessions.isEmpty())
        return -1;
    if (m_recentSessions.size() == 1)
        return m_recentSessions.first().durationInSeconds;
    qint64 sum = 0;
    for (qsizetype i = 0; i + 1 < m_recentSessions.size(); ++i)
        sum += m_recentSessions[i].durationInSeconds;
    return sum / (m_recentSessions.size() - 1);
}

std::optional<qint64> SessionManager::previousSessionSeconds() const
{
    if (m_recentSessions.size() < 2)
        return std::nullopt;
    return m_recentSessions[m_recentSessions.size() - 2].durationInSeconds;
}

qint64 SessionManager::totalSessionsCount() const
{
    return m_recentSessions.size() + m_deletedSessionsCount;
}

QString SessionManager::firstSessionDate() const
{
    return m_firstSessionDate.value_or(dayText(Clock::shared().now()));
}

QStringList SessionManager::distinctDaysUsed() const
{
    return m_distinctDaysUsed;
}

qint64 SessionManager::distinctDaysUsedLastMonth() const
{
    // The cut-off is taken in GMT, unlike the days themselves; texts of this form sort by date.
    const QString cutOff = QDateTime::fromSecsSinceEpoch(unixSeconds(Clock::shared().now() - lastMonthAge), Qt::UTC)
                               .toString(QStringLiteral("yyyy-MM-dd"));
    return std::count_if(m_distinctDaysUsed.cbegin(), m_distinctDaysUsed.cend(), [&cutOff](const QString &day) { return day >= cutOff; });
}
