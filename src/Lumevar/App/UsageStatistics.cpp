#include "Lumevar/App/UsageStatistics.h"

#include "Lumevar/Settings/PrivacySettings.h"
#include "Support/Log.h"
#include "Support/UserDefaults.h"
#include "TelemetryDeck/DefaultSignalPayload.h"
#include "TelemetryDeck/TelemetryDeck.h"

#include <QGuiApplication>
#include <QPalette>
#include <QScreen>

#ifndef LUMEVAR_TELEMETRY_URL
#define LUMEVAR_TELEMETRY_URL ""
#endif
#ifndef LUMEVAR_TELEMETRY_APP_ID
#define LUMEVAR_TELEMETRY_APP_ID ""
#endif

namespace {

// The screen and look of the desktop, for the default parameters; read on the main thread.
DisplayFacts displayFacts()
{
    DisplayFacts facts;
    auto *application = qobject_cast<QGuiApplication *>(QCoreApplication::instance());
    if (!application)
        return facts;
    if (const QScreen *screen = QGuiApplication::primaryScreen()) {
        facts.screenWidth = screen->geometry().width();
        facts.screenHeight = screen->geometry().height();
        facts.scaleFactor = screen->devicePixelRatio();
    }
    // Qt 6.4 has no colour-scheme query: judged from the window colour, as the lists do.
    facts.colorScheme = QGuiApplication::palette().color(QPalette::Window).lightness() < 128 ? QStringLiteral("Dark")
                                                                                               : QStringLiteral("Light");
    facts.layoutDirection = QGuiApplication::layoutDirection() == Qt::RightToLeft ? QStringLiteral("rightToLeft")
                                                                                  : QStringLiteral("leftToRight");
    return facts;
}

} // namespace

UsageStatistics::Deployment UsageStatistics::Deployment::fromBuildAndEnvironment()
{
    Deployment deployment{QUrl(QStringLiteral(LUMEVAR_TELEMETRY_URL)), QStringLiteral(LUMEVAR_TELEMETRY_APP_ID)};
    if (!qEnvironmentVariableIsEmpty("LUMEVAR_TELEMETRY_URL"))
        deployment.baseURL = QUrl(qEnvironmentVariable("LUMEVAR_TELEMETRY_URL"));
    if (!qEnvironmentVariableIsEmpty("LUMEVAR_TELEMETRY_APP_ID"))
        deployment.appID = qEnvironmentVariable("LUMEVAR_TELEMETRY_APP_ID");
    return deployment;
}

UsageStatistics::UsageStatistics(Deployment deployment, UserDefaults &defaults)
    : m_deployment(std::move(deployment)), m_defaults(defaults)
{
    ErrorReporter::shared().setTelemetryOutlet(this);
    connect(&m_defaults, &UserDefaults::changed, this, [this](const QString &key) {
        if (key == PrivacyKeys::shareUsageStatistics || key.isEmpty())
            applyStoredSwitch();
    });
    applyStoredSwitch();
}

UsageStatistics::~UsageStatistics()
{
    ErrorReporter::shared().setTelemetryOutlet(nullptr);
    if (m_sharing)
        TelemetryDeck::terminate(); // what is still queued was saved at quit
}

void UsageStatistics::applyStoredSwitch()
{
    const bool wanted = m_defaults.boolValue(PrivacyKeys::shareUsageStatistics);
    if (wanted && !m_sharing)
        start();
    else if (!wanted && m_sharing)
        stop();
}

void UsageStatistics::start()
{
    if (m_deployment.appID.isEmpty() || !m_deployment.baseURL.isValid() || m_deployment.baseURL.isEmpty()) {
        LUMEVAR_ERROR(Log::app(), "Usage statistics are switched on, but this build has no telemetry app ID or URL: "
                               "nothing is sent");
        return;
    }
    DefaultSignalPayload::setDisplayFactsProvider(displayFacts);
    TelemetryDeck::initialize(std::make_shared<TelemetryManagerConfiguration>(m_deployment.appID, std::nullopt,
                                                                              m_deployment.baseURL));
    m_sharing = true;
    LUMEVAR_INFO(Log::app(), "Usage statistics: on, sent to %@", m_deployment.baseURL.host());
}

void UsageStatistics::stop()
{
    m_sharing = false;
    TelemetryDeck::stopAndDiscardSignals();
    LUMEVAR_INFO(Log::app(), "Usage statistics: off; nothing queued is sent");
}

void UsageStatistics::signal(const QString &name, const SignalParameters &parameters)
{
    if (m_sharing)
        TelemetryDeck::signal(name, parameters);
}

void UsageStatistics::errorOccurred(const QString &id, const QString &message, const SignalParameters &parameters)
{
    if (m_sharing)
        TelemetryDeck::errorOccurred(id, std::nullopt, message, parameters);
}
