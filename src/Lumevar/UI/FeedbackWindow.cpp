#include "Lumevar/UI/FeedbackWindow.h"

#include "DunmoorUIKit/UI/FeedbackView.h"
#include "Lumevar/Feedback/FeedbackConfiguration.h"

FeedbackView *openFeedbackWindow(QWidget *parent)
{
    auto *view = new FeedbackView(FeedbackConfiguration::current().formInputs(), parent);
    view->show();
    view->raise();
    view->activateWindow();
    return view;
}
