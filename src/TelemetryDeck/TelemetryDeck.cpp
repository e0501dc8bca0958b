#include "TelemetryDeck/TelemetryDeck.h"

#include "TelemetryDeck/SignalManager.h"
#include "TelemetryDeck/TelemetryManager.h"

#include <QSet>

namespace TelemetryDeck {

namespace {

const QString reservedPrefix = QStringLiteral("TelemetryDeck.");

void logError(const TelemetryManagerConfiguration &configuration, const QString &message)
{
    if (const auto handler = configuration.logHandler.get())
        handler->log(LogHandler::LogLevel::error, message);
}

// The words of the two warnings, for a signal's name and for a parameter's key.
struct ReservedUse {
    const char *sent;   // what is being sent, up to the quoted name
    const char *noun;   // what to choose another of
    const char *prefix; // what the prefix is called
};
constexpr ReservedUse forSignalName{"signal with reserved name", "name", "signal with reserved prefix"};
constexpr ReservedUse forParameterKey{"parameter with reserved key", "key", "parameter with reserved key prefix"};

void warnOnReserved(const TelemetryManagerConfiguration &configuration, const QString &text, const ReservedUse &use)
{
    const QString lower = text.toLower();
    if (lower.startsWith(QLatin1String("telemetrydeck.")))
        logError(configuration, QStringLiteral("Sending %1 'TelemetryDeck.' will cause unexpected behavior. Please use "
                                               "another prefix instead.")
                                    .arg(QLatin1String(use.prefix)));
    else if (isReserved(lower))
        logError(configuration, QStringLiteral("Sending %1 '%2' will cause unexpected behavior. Please use another %3 instead.")
                                    .arg(QLatin1String(use.sent), text, QLatin1String(use.noun)));
}

// Keys that begin with "TelemetryDeck." exactly stay; the others gain the prefix.
Parameters prefixed(const Parameters &parameters, const std::optional<QString> &prefix)
{
    if (!prefix || prefix->isEmpty())
        return parameters;
    Parameters result;
    for (auto it = parameters.cbegin(); it != parameters.cend(); ++it)
        result.insert(it.key().startsWith(reservedPrefix) ? it.key() : *prefix + it.key(), it.value());
    return result;
}

bool gatesPass(const TelemetryManagerConfiguration &configuration)
{
    return !configuration.swiftUIPreviewMode() && !configuration.analyticsDisabled;
}

} // namespace

void initialize(std::shared_ptr<TelemetryManagerConfiguration> configuration)
{
    TelemetryManager::initialize(std::move(configuration));
}

void terminate() { TelemetryManager::terminate(); }

bool isInitialized() { return TelemetryManager::isInitialized(); }

bool isReserved(const QString &name)
{
    static const QSet<QString> reserved{
        QStringLiteral("type"),           QStringLiteral("clientuser"),        QStringLiteral("appid"),
        QStringLiteral("sessionid"),      QStringLiteral("floatvalue"),        QStringLiteral("newsessionbegan"),
        QStringLiteral("platform"),       QStringLiteral("systemversion"),     QStringLiteral("majorsystemversion"),
        QStringLiteral("majorminorsystemversion"), QStringLiteral("appversion"), QStringLiteral("buildnumber"),
        QStringLiteral("issimulator"),    QStringLiteral("isdebug"),           QStringLiteral("istestflight"),
        QStringLiteral("isappstore"),     QStringLiteral("modelname"),         QStringLiteral("architecture"),
        QStringLiteral("operatingsystem"), QStringLiteral("targetenvironment"), QStringLiteral("locale"),
        QStringLiteral("region"),         QStringLiteral("applanguage"),       QStringLiteral("preferredlanguage"),
        QStringLiteral("telemetryclientversion"),
    };
    return reserved.contains(name.toLower());
}

void signal(const QString &signalName, const Parameters &parameters, std::optional<double> floatValue,
            const std::optional<QString> &customUserID)
{
    const auto manager = TelemetryManager::shared();
    if (!manager)
        return;
    const auto configuration = manager->configuration();
    if (!gatesPass(*configuration))
        return;
    const QString name = configuration->defaultSignalPrefix.get().value_or(QString()) + signalName;
    const Parameters keys = prefixed(parameters, configuration->defaultParameterPrefix.get());
    if (configuration->reservedParameterWarningsEnabled) {
        warnOnReserved(*configuration, name, forSignalName);
        for (auto it = keys.cbegin(); it != keys.cend(); ++it)
            warnOnReserved(*configuration, it.key(), forParameterKey);
    }
    internalSignal(name, keys, floatValue, customUserID);
}

void internalSignal(const QString &signalName, const Parameters &parameters, std::optional<double> floatValue,
                    const std::optional<QString> &customUserID)
{
    const auto manager = TelemetryManager::shared();
    if (!manager)
        return;
    const auto configuration = manager->configuration();
    if (!gatesPass(*configuration))
        return;
    const auto defaultParameters = configuration->defaultParameters.get();
    Parameters merged = prefixed(defaultParameters ? defaultParameters() : Parameters(),
                                 configuration->defaultParameterPrefix.get());
    for (auto it = merged.cbegin(); it != merged.cend(); ++it)
        warnOnReserved(*configuration, it.key(), forParameterKey);
    merged.insert(parameters);
    manager->signalManager().processSignal(signalName, merged, floatValue, customUserID, configuration);
}

void updateDefaultUserID(const std::optional<QString> &user)
{
    if (const auto manager = TelemetryManager::shared())
        manager->updateDefaultUser(user);
}

void generateNewSession()
{
    if (const auto manager = TelemetryManager::shared())
        manager->generateNewSession();
}

void requestImmediateSync()
{
    if (const auto manager = TelemetryManager::shared())
        manager->requestImmediateSync();
}

void stopAndDiscardSignals()
{
    if (const auto manager = TelemetryManager::shared()) {
        manager->stopAndDiscard();
        TelemetryManager::terminate();
    }
}

} // namespace TelemetryDeck
