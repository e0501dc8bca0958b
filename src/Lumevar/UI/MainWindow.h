#pragma once
// The main window ("main"): menus, toolbar, the library as the pane navigator (a strip of one to
// three lists: root containers, the selected container, the songs of the selected collection), the
// floating player bar and search panel, and the overlays (toasts, the unavailable screen, the
// play-error alert). Everything it shows is read from the models and every user action goes to
// them; it holds no state of its own beyond the widgets.
//
// Closing the window hides it: the process and playback go on, and quitting is from the menu, the
// tray or the media controls.

#include "Lumevar/Search/SearchViewModel.h"
#include "Lumevar/UI/MenuRules.h"
#include "Support/Observable.h"

#include <QHash>
#include <QMainWindow>
#include <QCoroTask>
#include <QPointer>
#include <vector>

class LumevarApp;
class MainViewModel;
class KeyboardShortcutsWindow;
class FloatingPanel;
class PlayerView;
class SignInWindow;
class QActionGroup;
class QLabel;
class QMenu;
class QMessageBox;
class QToolButton;
class PaneController;
class SearchView;
class SearchWindowController;
class SettingsWindow;
class ToastView;
class UnavailableView;
class NoticeBanner;

class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    static constexpr int minimumWidth = 400;
    static constexpr int minimumHeight = 80;
    static constexpr int defaultWidth = 600;
    static constexpr int defaultHeight = 500;
    static inline const QString playErrorTitle = QStringLiteral("The selected item could not be played.");

    explicit MainWindow(LumevarApp &app, QWidget *parent = nullptr);
    ~MainWindow() override;

    // An entry of the menus by its object name ("playPause", "back", "addToLibrary", …).
    QAction *action(const QString &name) const;
    PaneController *paneController() const { return m_panes; }
    // The overlay on top now: "Added to Library", "Syncing Library", "Welcome to Lumevar" or empty.
    QString visibleOverlay() const;
    // The words of the unavailable screen, and the notice across the top (empty when hidden).
    QString unavailableDescription() const;
    QString visibleNotice() const;
    QString toolbarTitle() const;
    PlayerView *playerView() const { return m_playerView; }
    FloatingPanel *playerPanel() const { return m_playerPanel; }
    // Re-reads every enable rule and title from the model (also run on each model change).
    void refreshChrome();

    // Brings the window to the front, showing it again after a close.
    void raiseWindow();
    // "Search" and "Search <service>": the source, then the surface opens.
    void openSearch(SearchPickerSelection source);
    // The settings window, made at the first call and brought to the front.
    void showSettings();
    SettingsWindow *settingsWindow() const;
    // The Sign In window of a music server, made at the first call and brought to the front.
    void showSignIn();
    SignInWindow *signInWindow() const;
    SearchView *searchView() const { return m_searchView; }
    SearchWindowController *searchController() const { return m_searchController; }

Q_SIGNALS:
    void quitRequested();
    // The user asked to start again on the source just signed in to.
    void relaunchRequested();

protected:
    void showEvent(QShowEvent *event) override;
    void closeEvent(QCloseEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    // The playing song's link on the clipboard; why there is none in an alert.
    QCoro::Task<void> copyShareLink();
    void buildMenus();
    // One per menu of the bar, in its order.
    void addApplicationMenu(QMenuBar *bar);
    void addFileMenu(QMenuBar *bar);
    void addSongMenu(QMenuBar *bar);
    void addViewMenu(QMenuBar *bar);
    void addControlsMenu(QMenuBar *bar);
    void addHelpMenu(QMenuBar *bar);
    void buildToolbar();
    void buildCentre();
    void buildSearchPanel();
    void observeModel();
    void scheduleChrome();
    void refreshOverlays();
    void refreshPlayError();
    void rebuildSortMenu();
    // Reloads the lists of the selected container from the store (after a sync nobody started).
    void loadSelectedContainer(bool sync);
    void playPause();
    QAction *addAction(QMenu *menu, const QString &name, const QString &text, const QKeySequence &key = {});

    LumevarApp &m_app;
    MainViewModel &m_model;
    QHash<QString, QAction *> m_actions;
    QActionGroup *m_repeatGroup = nullptr;
    PaneController *m_panes = nullptr;
    QWidget *m_listsArea = nullptr; // the strip of panes
    FloatingPanel *m_playerPanel = nullptr;
    PlayerView *m_playerView = nullptr;
    ToastView *m_addToast = nullptr;
    ToastView *m_syncToast = nullptr;
    UnavailableView *m_unavailable = nullptr;
    NoticeBanner *m_notice = nullptr;
    QLabel *m_title = nullptr;
    QToolButton *m_sortButton = nullptr;
    QMenu *m_sortMenu = nullptr;
    QPointer<QMessageBox> m_playErrorAlert;
    QPointer<KeyboardShortcutsWindow> m_shortcutsWindow;
    QPointer<SettingsWindow> m_settingsWindow;
    QPointer<SignInWindow> m_signInWindow;
    SearchView *m_searchView = nullptr;
    SearchWindowController *m_searchController = nullptr;
    QMetaObject::Connection m_progressConnection;
    bool m_appeared = false;
    bool m_chromeScheduled = false;
    std::vector<ObservationTrackingToken> m_tokens;
};
