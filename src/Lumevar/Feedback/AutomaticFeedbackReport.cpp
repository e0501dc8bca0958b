#include "Lumevar/Feedback/AutomaticFeedbackReport.h"

#include "DunmoorUIKit/FeedbackSender.h"
#include "Support/Log.h"
#include "Support/Task.h"

#include <QCoreApplication>

namespace {

QCoro::Task<void> sendReport(FeedbackSender sender, QString token, QString email, QString productName, QString message)
{
    try {
        QCoro::Task<void> sending = sender.send(token, email, QString(), QString(), productName, message, QString());
        co_await std::move(sending);
    } catch (const std::exception &error) {
        // Not reported again: a failed report of a failure would only report itself.
        LUMEVAR_INFO(Log::app(), "The automatic error report was not sent: %@", error);
    }
}

} // namespace

AutomaticFeedbackReport::AutomaticFeedbackReport(FeedbackConfiguration configuration)
    : m_configuration(std::move(configuration))
{
}

void AutomaticFeedbackReport::sendAutomaticReport(const QString &senderName, const QString &title, const QString &text)
{
    if (!m_configuration.hasToken())
        return;
    // Failures may be reported from any thread; the network is used from the main thread.
    QMetaObject::invokeMethod(QCoreApplication::instance(), [configuration = m_configuration, senderName, message = title + text] {
        detach(sendReport(FeedbackSender(configuration.apiBase), configuration.token, configuration.supportEmail, senderName,
                          message));
    });
}
