#pragma once
// The Welcome window of a document-based host: a window titled "Welcome to <name>" holding a
// WelcomeView, centred, its frame kept under the host's autosave name when given. Closing it tells
// the delegate.

#include "DunmoorUIKit/HostedWindowDismiss.h"
#include "DunmoorUIKit/WelcomeViewModel.h"

#include <QIcon>
#include <QObject>
#include <QPointer>

class QWidget;
class WelcomeWindowController;

class WelcomeWindowControllerDelegate {
public:
    virtual ~WelcomeWindowControllerDelegate() = default;
    virtual void welcomeWindowControllerDidClose(WelcomeWindowController &controller) = 0;
};

class WelcomeWindowController : public QObject {
    Q_OBJECT
public:
    struct Options {
        QString applicationName;
        QIcon applicationImage;
        QString showOnLaunchKey;  // the stored switch "Show this window when … starts"
        QString frameAutosaveName; // empty: the frame is not kept
    };

    WelcomeWindowController(RecentDocumentController &documents, Options options, QObject *parent = nullptr);
    ~WelcomeWindowController() override;

    WelcomeViewModel &viewModel() { return m_viewModel; }
    QWidget *window() const { return m_window; }
    // Not owned; may be null.
    WelcomeWindowControllerDelegate *delegate = nullptr;

    void showWindow();
    void close();

private:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void windowWillClose();

    WelcomeViewModel m_viewModel;
    Options m_options;
    HostedWindowDismiss m_dismiss;
    QPointer<QWidget> m_window;
};
