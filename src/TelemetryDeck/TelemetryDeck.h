#pragma once
// The telemetry client as the application sees it: static operations over the process's
// TelemetryManager. Every call returns at once and may come from any thread.
//
//   auto configuration = std::make_shared<TelemetryManagerConfiguration>(appID);
//   TelemetryDeck::initialize(configuration);
//   TelemetryDeck::signal("snap_back");
//
// A public signal passes two gates (preview mode, analyticsDisabled), gains defaultSignalPrefix
// before its name and defaultParameterPrefix before each key that does not begin with
// "TelemetryDeck.", and draws warnings for reserved names and keys. The client's own signals
// (sessions, durations, navigation, errors) take the internal path: the gates and the default
// parameters, without the prefixes and the warnings on their names.
//
// Before initialize, and after terminate, signals are dropped: nothing is made, read or sent.

#include "TelemetryDeck/SignalPostBody.h"
#include "TelemetryDeck/TelemetryManagerConfiguration.h"

#include <memory>
#include <optional>

class Error;

namespace TelemetryDeck {

void initialize(std::shared_ptr<TelemetryManagerConfiguration> configuration);
void terminate();
bool isInitialized();

void signal(const QString &signalName, const Parameters &parameters = {}, std::optional<double> floatValue = {},
            const std::optional<QString> &customUserID = {});
void internalSignal(const QString &signalName, const Parameters &parameters = {},
                    std::optional<double> floatValue = {}, const std::optional<QString> &customUserID = {});

void updateDefaultUserID(const std::optional<QString> &user);
void generateNewSession();
void requestImmediateSync();
// The user withdrew consent: see TelemetryManager::stopAndDiscard. Then terminates. Main thread.
void stopAndDiscardSignals();

// The 25 parameter and signal names the service reserves for itself, in lower case.
bool isReserved(const QString &name);

// Errors.
enum class ErrorCategory { thrownException, userInput, appState };
QString rawValue(ErrorCategory category); // "thrown-exception", "user-input", "app-state"

class IdentifiableError {
public:
    virtual ~IdentifiableError() = default;
    virtual QString id() const = 0;
    virtual QString errorDescription() const = 0;
};

// Any error of the application's hierarchy with an id of the caller's choice.
class AnyIdentifiableError final : public IdentifiableError {
public:
    AnyIdentifiableError(QString id, const Error &error);
    QString id() const override { return m_id; }
    QString errorDescription() const override { return m_description; }

private:
    QString m_id;
    QString m_description;
};

// "TelemetryDeck.Error.occurred" with "TelemetryDeck.Error.id", the category and message when
// given, and the call's parameters over them.
void errorOccurred(const QString &id, std::optional<ErrorCategory> category = {},
                   const std::optional<QString> &message = {}, const Parameters &parameters = {},
                   std::optional<double> floatValue = {}, const std::optional<QString> &customUserID = {});
// The message is the error's description.
void errorOccurred(const IdentifiableError &error, std::optional<ErrorCategory> category = {},
                   const Parameters &parameters = {}, std::optional<double> floatValue = {},
                   const std::optional<QString> &customUserID = {});
void errorOccurred(const IdentifiableError &error, std::optional<ErrorCategory> category,
                   const std::optional<QString> &message, const Parameters &parameters = {},
                   std::optional<double> floatValue = {}, const std::optional<QString> &customUserID = {});

// Navigation: "TelemetryDeck.Navigation.pathChanged" from a path to another. Without a source,
// the last destination of this process (the empty text at first) is the source.
void navigationPathChanged(const QString &from, const QString &to, const std::optional<QString> &customUserID = {});
void navigationPathChanged(const QString &to, const std::optional<QString> &customUserID = {});
void navigate(const QString &from, const QString &to, const std::optional<QString> &customUserID = {});
void navigate(const QString &to, const std::optional<QString> &customUserID = {});

// Durations: the seconds between start and stop, cut to milliseconds, as
// "TelemetryDeck.Signal.durationInSeconds". Time with the application inactive does not count
// unless includeBackgroundTime.
void startDurationSignal(const QString &signalName, const Parameters &parameters = {}, bool includeBackgroundTime = false);
void stopAndSendDurationSignal(const QString &signalName, const Parameters &parameters = {},
                               std::optional<double> floatValue = {}, const std::optional<QString> &customUserID = {});

} // namespace TelemetryDeck
