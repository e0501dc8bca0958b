#pragma once
// Opens a new "Send Feedback" window for Lumevar: each call gives a window of its own, with its
// own log collection, sending where the build and environment say (FeedbackConfiguration).

class FeedbackView;
class QWidget;

// parent: the window it belongs to (closed with it); the form is a top-level window all the same.
FeedbackView *openFeedbackWindow(QWidget *parent);
