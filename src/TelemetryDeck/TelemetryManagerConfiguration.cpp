#include "TelemetryDeck/TelemetryManagerConfiguration.h"

#include <QStandardPaths>

QUrl TelemetryManagerConfiguration::defaultBaseURL()
{
    static const QUrl url(QStringLiteral("https://nom.telemetrydeck.com"));
    Q_ASSERT(url.isValid());
    return url;
}

TelemetryManagerConfiguration::TelemetryManagerConfiguration(QString appID, std::optional<QString> salt,
                                                             std::optional<QUrl> baseURL,
                                                             std::optional<QString> namespaceName)
    : telemetryAppID(std::move(appID)), apiBaseURL(baseURL.value_or(defaultBaseURL())),
      namespaceName(std::move(namespaceName)), salt(salt.value_or(QString())),
      m_sessionID(QUuid::createUuid())
{
}

bool TelemetryManagerConfiguration::swiftUIPreviewMode() const
{
    if (const auto stored = previewModeOverride.get())
        return *stored;
    return qEnvironmentVariable("XCODE_RUNNING_FOR_PREVIEWS") == QLatin1String("1");
}

QUuid TelemetryManagerConfiguration::sessionID() const
{
    const QMutexLocker lock(&m_sessionMutex);
    return m_sessionID;
}

void TelemetryManagerConfiguration::setSessionID(QUuid sessionID)
{
    std::function<void()> handler;
    {
        const QMutexLocker lock(&m_sessionMutex);
        m_sessionID = sessionID;
        handler = m_sessionStartHandler;
    }
    if (handler)
        handler();
}

void TelemetryManagerConfiguration::setSessionStartHandler(const void *owner, std::function<void()> handler)
{
    const QMutexLocker lock(&m_sessionMutex);
    m_sessionStartHandlerOwner = owner;
    m_sessionStartHandler = std::move(handler);
}

void TelemetryManagerConfiguration::removeSessionStartHandler(const void *owner)
{
    const QMutexLocker lock(&m_sessionMutex);
    if (m_sessionStartHandlerOwner != owner)
        return;
    m_sessionStartHandlerOwner = nullptr;
    m_sessionStartHandler = nullptr;
}

QString TelemetryManagerConfiguration::cacheFilePath() const
{
    QString folder = cacheDirectory.get();
    if (folder.isEmpty())
        folder = QStandardPaths::writableLocation(QStandardPaths::CacheLocation);
    return folder + QStringLiteral("/telemetrysignalcache");
}
