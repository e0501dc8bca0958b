#pragma once
// The Welcome window's content: the application's image (96 by 96) and "Welcome to <name>", the
// host's actions as rows of a symbol and a title, the recent documents with their thumbnails (or
// "No Recent Documents"), and the switch "Show this window when <name> starts", stored under the
// host's key (true until changed).

#include "DunmoorUIKit/HostedWindowDismiss.h"

#include <QWidget>

class QCheckBox;
class QListWidget;
class QListWidgetItem;
class QStackedWidget;
class WelcomeViewModel;
struct WelcomeRecent;

class WelcomeView : public QWidget {
    Q_OBJECT
public:
    WelcomeView(WelcomeViewModel &model, const QString &applicationName, const QIcon &applicationImage,
                const QString &showOnLaunchKey, HostedWindowDismiss &dismiss, QWidget *parent = nullptr);

    QListWidget *recentsList() const { return m_recents; }
    QCheckBox *showOnLaunchSwitch() const { return m_showOnLaunch; }

private:
    void rebuildActions();
    void rebuildRecents();
    void refreshThumbnails();
    void openRecent(QListWidgetItem *item);
    void showRecentMenu(const QPoint &position);

    WelcomeViewModel &m_model;
    HostedWindowDismiss &m_dismiss;
    QWidget *m_actions;
    QStackedWidget *m_recentsStack;
    QListWidget *m_recents;
    QCheckBox *m_showOnLaunch;
};

// Shows a file selected in the desktop's file manager (org.freedesktop.FileManager1), or opens its
// folder where no file manager answers.
void showInFileManager(const QUrl &url);
