#pragma once
// The application's one road to the outside for failures and usage counts.
//
// A failed background operation catches its own error, writes its log line, and hands the error
// to reportError() with a short snake-case label ("play_song", "sync", ...). reportError() drops
// cancellations and a missing internet connection, and sends everything else to the telemetry
// service as "error_<label>"; a decoding failure also goes out as an automatic feedback report.
//
// The application's own usage signals are the closed list AppSignal; sendAppSignal() takes
// nothing else.
//
// Both outlets are interfaces installed once for the process. Until the telemetry client and the
// feedback sender are installed, the defaults drop what they are given (nothing leaves the
// machine); callers do not change when real outlets are installed.

#include "Support/Error.h"

#include <QMap>
#include <QString>
#include <exception>

using SignalParameters = QMap<QString, QString>;

// Where signals and error reports go: the telemetry client.
class TelemetryOutlet {
public:
    virtual ~TelemetryOutlet() = default;
    // Sends one usage signal. Returns at once.
    virtual void signal(const QString &name, const SignalParameters &parameters) = 0;
    // Sends one error signal with the given id ("error_<label>"), message and parameters.
    virtual void errorOccurred(const QString &id, const QString &message, const SignalParameters &parameters) = 0;
};

// Sends a report to the makers without the user's involvement. Returns at once; the sending
// runs in the background and its own failures stay there.
class FeedbackOutlet {
public:
    virtual ~FeedbackOutlet() = default;
    virtual void sendAutomaticReport(const QString &senderName, const QString &title, const QString &text) = 0;
};

// The application's own usage signals: the whole list.
enum class AppSignal {
    changeArtworkSize,            // "size": rounded new size, only when the rounded value changed
    changeFontWeight,             // "weight"
    changePadding,                // "padding"
    changeLimitTitlesToOneLine,   // "enabled": "true" / "false"
    changeShowSubtitles,          // "enabled"
    changeUseAlternatingRowColors, // "enabled"
    viewKeyboardShortcuts,        // no parameters
    subscribeNotifications,       // no parameters
    snapBack,                     // no parameters
};

// The signal's name on the wire, e.g. "snap_back".
QString appSignalName(AppSignal signal);

// Filters errors and routes them and the application's signals to the outlets. The process has
// one (shared()); tests make their own with fake outlets.
class ErrorReporter {
public:
    // Outlets are not owned and must outlive the reporter; nullptr means "drop".
    explicit ErrorReporter(TelemetryOutlet *telemetry = nullptr, FeedbackOutlet *feedback = nullptr);

    void reportError(const Error &error, const QString &label) const;
    // For an exception caught as a std::exception_ptr; anything that is not an Error is reported
    // as a generic one.
    void reportError(std::exception_ptr error, const QString &label) const;
    void sendAppSignal(AppSignal signal, const SignalParameters &parameters = {}) const;

    void setTelemetryOutlet(TelemetryOutlet *telemetry) { m_telemetry = telemetry; }
    void setFeedbackOutlet(FeedbackOutlet *feedback) { m_feedback = feedback; }

    // The reporter of the process. Its outlets drop everything until installed.
    static ErrorReporter &shared();

    // True for the errors that send nothing: cancelled URL loads, task cancellation, offline.
    static bool isSilenced(const Error &error);

private:
    TelemetryOutlet *m_telemetry;
    FeedbackOutlet *m_feedback;
};

// Shorthands over ErrorReporter::shared().
void reportError(const Error &error, const QString &label);
void reportError(std::exception_ptr error, const QString &label);
// Inside a catch block: reports the exception in flight.
void reportCurrentError(const QString &label);
void sendAppSignal(AppSignal signal, const SignalParameters &parameters = {});
