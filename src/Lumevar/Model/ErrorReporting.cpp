#include "Lumevar/Model/ErrorReporting.h"

namespace {

const QString senderName = QStringLiteral("Lumevar");

} // namespace

QString appSignalName(AppSignal signal)
{
    switch (signal) {
    case AppSignal::changeArtworkSize: return QStringLiteral("change_artwork_size");
    case AppSignal::changeFontWeight: return QStringLiteral("change_font_weight");
    case AppSignal::changePadding: return QStringLiteral("change_padding");
    case AppSignal::changeLimitTitlesToOneLine: return QStringLiteral("change_limit_titles_to_one_line");
    case AppSignal::changeShowSubtitles: return QStringLiteral("change_show_subtitles");
    case AppSignal::changeUseAlternatingRowColors: return QStringLiteral("change_use_alternating_row_colors");
    case AppSignal::viewKeyboardShortcuts: return QStringLiteral("view_keyboard_shortcuts");
    case AppSignal::subscribeNotifications: return QStringLiteral("subscribe_notifications");
    case AppSignal::snapBack: return QStringLiteral("snap_back");
    }
    Q_UNREACHABLE();
    return {};
}

ErrorReporter::ErrorReporter(TelemetryOutlet *telemetry, FeedbackOutlet *feedback)
    : m_telemetry(telemetry), m_feedback(feedback)
{
}

bool ErrorReporter::isSilenced(const Error &error)
{
    // Decided by domain and code, not by the C++ type: callers usually hold the error as a plain
    // Error value taken from errorFromCurrentException().
    const URLError cancelledLoad(URLError::cancelled);
    const CancellationError cancelledTask;
    if (error.domain() == cancelledLoad.domain())
        return error.code() == URLError::cancelled || error.code() == URLError::notConnectedToInternet;
    return error.domain() == cancelledTask.domain() && error.code() == cancelledTask.code();
}

void ErrorReporter::reportError(const Error &error, const QString &label) const
{
    // The caller has logged the failure already; cancellations and offline moments are expected
    // and would only drown the real failures.
    if (isSilenced(error))
        return;
    if (m_telemetry) {
        m_telemetry->errorOccurred(QStringLiteral("error_") + label, error.localizedDescription(),
                                   {{QStringLiteral("domain"), error.domain()},
                                    {QStringLiteral("code"), QString::number(error.code())}});
    }
    // A decoding failure means the data we were sent and our understanding of it disagree: the
    // makers want the full details of that one.
    if (m_feedback && error.debugDescription().contains(QLatin1String("DecodingError"))) {
        m_feedback->sendAutomaticReport(senderName, QStringLiteral("Error "),
                                        label + QStringLiteral(": ") + error.localizedDescription() +
                                            QStringLiteral("\n\n") + error.debugDescription());
    }
}

void ErrorReporter::reportError(std::exception_ptr error, const QString &label) const
{
    if (!error)
        return;
    try {
        std::rethrow_exception(error);
    } catch (...) {
        reportError(errorFromCurrentException(), label);
    }
}

void ErrorReporter::sendAppSignal(AppSignal signal, const SignalParameters &parameters) const
{
    if (m_telemetry)
        m_telemetry->signal(appSignalName(signal), parameters);
}

ErrorReporter &ErrorReporter::shared()
{
    static ErrorReporter reporter;
    return reporter;
}

void reportError(const Error &error, const QString &label) { ErrorReporter::shared().reportError(error, label); }

void reportError(std::exception_ptr error, const QString &label)
{
    ErrorReporter::shared().reportError(std::move(error), label);
}

void reportCurrentError(const QString &label) { ErrorReporter::shared().reportError(errorFromCurrentException(), label); }

void sendAppSignal(AppSignal signal, const SignalParameters &parameters)
{
    ErrorReporter::shared().sendAppSignal(signal, parameters);
}
