#pragma once
// "What's New in <name>": the features a host announces, one FeatureView each, and "Continue",
// which calls the dismiss action. WhatsNewView takes the dismiss as a function (a sheet's, or a
// dialog's); HostedWhatsNewView is the same content in a window of its own, closed through a
// HostedWindowDismiss.

#include "DunmoorUIKit/Feature.h"
#include "DunmoorUIKit/HostedWindowDismiss.h"

#include <QList>
#include <QWidget>
#include <functional>

class WhatsNewView : public QWidget {
    Q_OBJECT
public:
    WhatsNewView(const QString &applicationName, const QList<Feature> &features, std::function<void()> dismiss,
                 QWidget *parent = nullptr);
};

class HostedWhatsNewView : public WhatsNewView {
    Q_OBJECT
public:
    // A top-level window that deletes itself when dismissed or closed.
    HostedWhatsNewView(const QString &applicationName, const QList<Feature> &features, QWidget *parent = nullptr);

    HostedWindowDismiss &hostedWindowDismiss() { return m_dismiss; }

private:
    HostedWindowDismiss m_dismiss;
};
