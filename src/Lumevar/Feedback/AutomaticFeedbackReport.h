#pragma once
// The automatic report of a decoding failure: the FeedbackOutlet of failure reporting, sending
// through the feedback sender in a detached task, with no name, no e-mail and no logs. Its outcome
// is only logged; no window takes part. Without a server token it sends nothing.

#include "Lumevar/Feedback/FeedbackConfiguration.h"
#include "Lumevar/Model/ErrorReporting.h"

class AutomaticFeedbackReport : public FeedbackOutlet {
public:
    explicit AutomaticFeedbackReport(FeedbackConfiguration configuration);

    void sendAutomaticReport(const QString &senderName, const QString &title, const QString &text) override;

private:
    FeedbackConfiguration m_configuration;
};
