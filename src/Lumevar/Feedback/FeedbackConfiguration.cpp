#include "Lumevar/Feedback/FeedbackConfiguration.h"

#include "Support/Log.h"

#include <QByteArray>

namespace {

QString setting(const char *variable, const char *built)
{
    const QByteArray fromEnvironment = qgetenv(variable);
    return QString::fromUtf8(fromEnvironment.isNull() ? QByteArray(built) : fromEnvironment).trimmed();
}

} // namespace

FeedbackConfiguration FeedbackConfiguration::current()
{
    FeedbackConfiguration configuration;
    const QUrl built(QStringLiteral(LUMEVAR_FEEDBACK_URL), QUrl::StrictMode);
    if (!built.isValid() || built.scheme().isEmpty())
        qFatal("The built-in feedback URL is not a URL: %s", LUMEVAR_FEEDBACK_URL);
    const QUrl chosen(setting("LUMEVAR_FEEDBACK_URL", LUMEVAR_FEEDBACK_URL), QUrl::StrictMode);
    if (chosen.isValid() && !chosen.scheme().isEmpty()) {
        configuration.apiBase = chosen;
    } else {
        LUMEVAR_ERROR(Log::app(), "LUMEVAR_FEEDBACK_URL is not a URL, using %@", built.toString());
        configuration.apiBase = built;
    }
    configuration.token = setting("LUMEVAR_FEEDBACK_TOKEN", LUMEVAR_FEEDBACK_TOKEN);
    configuration.supportEmail = setting("LUMEVAR_SUPPORT_EMAIL", LUMEVAR_SUPPORT_EMAIL);
    return configuration;
}

FeedbackForm::Inputs FeedbackConfiguration::formInputs() const
{
    return {FeedbackSender(apiBase), token, QStringLiteral("Lumevar"), supportEmail, IncludedLogs::currentProcess()};
}
