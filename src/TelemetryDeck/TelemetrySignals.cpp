// The client's ready-made signals: errors, navigation and durations, on the internal path.

#include "TelemetryDeck/TelemetryDeck.h"

#include "Support/Error.h"
#include "TelemetryDeck/DurationSignalTracker.h"

#include <QLocale>
#include <QMutex>

namespace TelemetryDeck {

namespace {

QMutex navigationMutex;
std::optional<QString> previousNavigationPath;

} // namespace

QString rawValue(ErrorCategory category)
{
    switch (category) {
    case ErrorCategory::thrownException: return QStringLiteral("thrown-exception");
    case ErrorCategory::userInput: return QStringLiteral("user-input");
    case ErrorCategory::appState: return QStringLiteral("app-state");
    }
    return {};
}

AnyIdentifiableError::AnyIdentifiableError(QString id, const Error &error)
    : m_id(std::move(id)), m_description(error.localizedDescription())
{
}

void errorOccurred(const QString &id, std::optional<ErrorCategory> category, const std::optional<QString> &message,
                   const Parameters &parameters, std::optional<double> floatValue,
                   const std::optional<QString> &customUserID)
{
    Parameters errorParameters{{QStringLiteral("TelemetryDeck.Error.id"), id}};
    if (category)
        errorParameters.insert(QStringLiteral("TelemetryDeck.Error.category"), rawValue(*category));
    if (message)
        errorParameters.insert(QStringLiteral("TelemetryDeck.Error.message"), *message);
    errorParameters.insert(parameters);
    internalSignal(QStringLiteral("TelemetryDeck.Error.occurred"), errorParameters, floatValue, customUserID);
}

void errorOccurred(const IdentifiableError &error, std::optional<ErrorCategory> category, const Parameters &parameters,
                   std::optional<double> floatValue, const std::optional<QString> &customUserID)
{
    errorOccurred(error.id(), category, error.errorDescription(), parameters, floatValue, customUserID);
}

void errorOccurred(const IdentifiableError &error, std::optional<ErrorCategory> category,
                   const std::optional<QString> &message, const Parameters &parameters,
                   std::optional<double> floatValue, const std::optional<QString> &customUserID)
{
    errorOccurred(error.id(), category, message, parameters, floatValue, customUserID);
}

void navigationPathChanged(const QString &from, const QString &to, const std::optional<QString> &customUserID)
{
    {
        const QMutexLocker lock(&navigationMutex);
        previousNavigationPath = to;
    }
    internalSignal(QStringLiteral("TelemetryDeck.Navigation.pathChanged"),
                   {
                       {QStringLiteral("TelemetryDeck.Navigation.schemaVersion"), QStringLiteral("1")},
                       {QStringLiteral("TelemetryDeck.Navigation.identifier"), from + QStringLiteral(" -> ") + to},
                       {QStringLiteral("TelemetryDeck.Navigation.sourcePath"), from},
                       {QStringLiteral("TelemetryDeck.Navigation.destinationPath"), to},
                   },
                   std::nullopt, customUserID);
}

void navigationPathChanged(const QString &to, const std::optional<QString> &customUserID)
{
    QString from;
    {
        const QMutexLocker lock(&navigationMutex);
        from = previousNavigationPath.value_or(QString());
    }
    navigationPathChanged(from, to, customUserID);
}

void navigate(const QString &from, const QString &to, const std::optional<QString> &customUserID)
{
    navigationPathChanged(from, to, customUserID);
}

void navigate(const QString &to, const std::optional<QString> &customUserID) { navigationPathChanged(to, customUserID); }

void startDurationSignal(const QString &signalName, const Parameters &parameters, bool includeBackgroundTime)
{
    DurationSignalTracker::shared().startTracking(signalName, parameters, includeBackgroundTime);
}

void stopAndSendDurationSignal(const QString &signalName, const Parameters &parameters,
                               std::optional<double> floatValue, const std::optional<QString> &customUserID)
{
    const auto stopped = DurationSignalTracker::shared().stopTracking(signalName);
    if (!stopped)
        return;
    Parameters durationParameters{
        {QStringLiteral("TelemetryDeck.Signal.durationInSeconds"), QString::number(stopped->seconds, 'g', QLocale::FloatingPointShortest)}};
    durationParameters.insert(stopped->parameters);
    durationParameters.insert(parameters);
    internalSignal(signalName, durationParameters, floatValue, customUserID);
}

} // namespace TelemetryDeck
