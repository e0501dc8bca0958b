#include "Lumevar/UI/MainWindow.h"

#include "Lumevar/App/LumevarApp.h"
#include "Lumevar/App/Updater.h"
#include "Lumevar/Artwork/ArtworkImageCache.h"
#include "Lumevar/UI/FeedbackWindow.h"
#include "Lumevar/UI/Icons.h"
#include "Lumevar/UI/KeyboardShortcutsWindow.h"
#include "Lumevar/UI/Navigator/PaneController.h"
#include "Lumevar/UI/Navigator/PaneStripView.h"
#include "Lumevar/UI/Panels/FloatingPanel.h"
#include "Lumevar/UI/Panels/PanelFrames.h"
#include "Lumevar/UI/Panels/SearchWindowController.h"
#include "Lumevar/UI/Player/PlayerView.h"
#include "Lumevar/UI/Search/SearchView.h"
#include "Lumevar/UI/Settings/SettingsWindow.h"
#include "Lumevar/UI/Settings/SourceSettingsView.h"
#include "Lumevar/UI/SignInWindow.h"
#include "Lumevar/Settings/MusicSourceSettings.h"
#include "Lumevar/UI/ToastView.h"
#include "Lumevar/UI/NoticeBanner.h"
#include "Lumevar/UI/ServiceTexts.h"
#include "Lumevar/UI/UnavailableView.h"
#include "Platform/Music/MusicService.h"
#include "Support/Error.h"
#include "Support/Log.h"
#include "Support/Progress.h"
#include "Support/Task.h"

#include <QActionGroup>
#include <QApplication>
#include <QClipboard>
#include <QCloseEvent>
#include <QDesktopServices>
#include <QGraphicsOpacityEffect>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QShortcut>
#include <QToolBar>
#include <QToolButton>
#include <QVBoxLayout>

#ifndef LUMEVAR_PRODUCT_URL
#define LUMEVAR_PRODUCT_URL "https://lumevar.org/"
#endif

namespace {

// The sort choices of one list model: its orders, then the two directions, each one exclusive.
template <typename Model>
void addSortChoices(QMenu *menu, Model &model)
{
    using Order = std::decay_t<decltype(model.sortOrder())>;
    using Table = SortChoiceTable<Order>;
    menu->addSection(QString::fromUtf8(Table::sectionTitle));
    auto *orders = new QActionGroup(menu);
    for (const auto &row : Table::rows) {
        QAction *action = menu->addAction(QString::fromUtf8(row.title));
        action->setCheckable(true);
        action->setChecked(model.sortOrder() == row.value);
        orders->addAction(action);
        const Order value = row.value;
        QObject::connect(action, &QAction::triggered, menu, [&model, value] { model.setSortOrder(value); });
    }
    menu->addSeparator();
    auto *directions = new QActionGroup(menu);
    for (const auto &row : SortChoiceTable<MusicSortDirection>::rows) {
        QAction *action = menu->addAction(QString::fromUtf8(row.title));
        action->setCheckable(true);
        action->setChecked(model.sortDirection() == row.value);
        directions->addAction(action);
        const MusicSortDirection value = row.value;
        QObject::connect(action, &QAction::triggered, menu, [&model, value] { model.setSortDirection(value); });
    }
}

} // namespace

MainWindow::MainWindow(LumevarApp &app, QWidget *parent) : QMainWindow(parent), m_app(app), m_model(app.mainViewModel())
{
    setObjectName(QStringLiteral("main"));
    setWindowTitle(MainViewModel::productName);
    setMinimumSize(minimumWidth, minimumHeight);
    resize(defaultWidth, defaultHeight);
    buildMenus();
    buildToolbar();
    buildCentre();
    buildSearchPanel();
    observeModel();
    refreshOverlays();
    refreshChrome();
}

MainWindow::~MainWindow()
{
    // The panes' lists and observers go before the models and widgets they refer to.
    delete m_panes;
}

QAction *MainWindow::addAction(QMenu *menu, const QString &name, const QString &text, const QKeySequence &key)
{
    QAction *action = menu->addAction(text);
    action->setObjectName(name);
    if (!key.isEmpty()) {
        action->setShortcut(key);
        action->setShortcutContext(Qt::WindowShortcut);
    }
    m_actions.insert(name, action);
    return action;
}

QAction *MainWindow::action(const QString &name) const { return m_actions.value(name); }

void MainWindow::buildMenus()
{
    QMenuBar *bar = menuBar();
    addApplicationMenu(bar);
    addFileMenu(bar);
    addSongMenu(bar);
    addViewMenu(bar);
    addControlsMenu(bar);
    addHelpMenu(bar);
}

void MainWindow::addApplicationMenu(QMenuBar *bar)
{
    QMenu *appMenu = bar->addMenu(QStringLiteral("&Lumevar"));
    connect(addAction(appMenu, QStringLiteral("checkForUpdates"), QStringLiteral("Check for Updates…")), &QAction::triggered,
            this, [this] {
                if (Updater *updater = m_app.updater())
                    updater->checkForUpdates();
            });
    QAction *settings = addAction(appMenu, QStringLiteral("settings"), QStringLiteral("Settings…"), QKeySequence(Qt::CTRL | Qt::Key_Comma));
    settings->setMenuRole(QAction::PreferencesRole);
    connect(settings, &QAction::triggered, this, &MainWindow::showSettings);
    connect(addAction(appMenu, QStringLiteral("signIn"), QStringLiteral("Sign In…")), &QAction::triggered, this, &MainWindow::showSignIn);
    appMenu->addSeparator();
    QAction *quit = addAction(appMenu, QStringLiteral("quit"), QStringLiteral("Quit Lumevar"), QKeySequence(Qt::CTRL | Qt::Key_Q));
    quit->setMenuRole(QAction::QuitRole);
    connect(quit, &QAction::triggered, this, &MainWindow::quitRequested);
}

void MainWindow::addFileMenu(QMenuBar *bar)
{
    QMenu *file = bar->addMenu(QStringLiteral("&File"));
    // Each entry sets the source first, so that reopening on the other source searches again.
    connect(addAction(file, QStringLiteral("search"), QStringLiteral("Search"), QKeySequence(Qt::CTRL | Qt::Key_F)),
            &QAction::triggered, this, [this] { openSearch(SearchPickerSelection::library); });
    connect(addAction(file, QStringLiteral("searchCatalog"), ServiceTexts::searchCatalogMenuItem(MusicService::shared()),
                      QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_F)),
            &QAction::triggered, this, [this] { openSearch(SearchPickerSelection::catalog); });
    connect(addAction(file, QStringLiteral("updateLibrary"), QStringLiteral("Update Library"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_R)),
            &QAction::triggered, this, [this] { detach(m_model.updateLibrary()); });
}

void MainWindow::addSongMenu(QMenuBar *bar)
{
    QMenu *song = bar->addMenu(QStringLiteral("&Song"));
    connect(addAction(song, QStringLiteral("addToLibrary"), QStringLiteral("Add to Library"), QKeySequence(Qt::CTRL | Qt::Key_S)),
            &QAction::triggered, this, [this] { detach(m_model.addCurrentSongToLibrary()); });
    // Linux has no share sheet: sharing puts the song's web link on the clipboard.
    connect(addAction(song, QStringLiteral("share"), QStringLiteral("Copy Link"), QKeySequence(Qt::CTRL | Qt::Key_Y)),
            &QAction::triggered, this, [this] { detach(copyShareLink()); });
}

void MainWindow::addViewMenu(QMenuBar *bar)
{
    QMenu *view = bar->addMenu(QStringLiteral("&View"));
    QAction *back = addAction(view, QStringLiteral("back"), QStringLiteral("Back"), QKeySequence(Qt::CTRL | Qt::Key_BracketLeft));
    back->setIcon(Icons::drawnSymbol(QStringLiteral("chevron.backward")));
    back->setToolTip(QStringLiteral("Back"));
    connect(back, &QAction::triggered, this, [this] { m_model.navigateBack(); });
    connect(addAction(view, QStringLiteral("snapBack"), QStringLiteral("Library SnapBack"), QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_S)),
            &QAction::triggered, this, [this] { m_model.snapBack(); });
}

void MainWindow::addControlsMenu(QMenuBar *bar)
{
    QMenu *controls = bar->addMenu(QStringLiteral("&Controls"));
    QAction *playPause = addAction(controls, QStringLiteral("playPause"), QStringLiteral("Play"), QKeySequence(Qt::Key_Space));
    connect(playPause, &QAction::triggered, this, &MainWindow::playPause);
    // The menu entry is off while stopped, but Space itself always pauses what plays and
    // otherwise resumes: while the entry is off the window takes the key. Only one of the two
    // listens at a time, or Qt would find the key ambiguous and do nothing.
    auto *space = new QShortcut(QKeySequence(Qt::Key_Space), this);
    space->setContext(Qt::WindowShortcut);
    space->setEnabled(!playPause->isEnabled());
    connect(space, &QShortcut::activated, this, &MainWindow::playPause);
    connect(playPause, &QAction::changed, space, [playPause, space] { space->setEnabled(!playPause->isEnabled()); });
    connect(addAction(controls, QStringLiteral("stop"), QStringLiteral("Stop"), QKeySequence(Qt::CTRL | Qt::Key_Period)),
            &QAction::triggered, this, [this] { detach(m_model.stopPlayback()); });
    connect(addAction(controls, QStringLiteral("nextTrack"), QStringLiteral("Next Track"), QKeySequence(Qt::CTRL | Qt::Key_Right)),
            &QAction::triggered, this, [this] { detach(m_model.skipToNext()); });
    connect(addAction(controls, QStringLiteral("previousTrack"), QStringLiteral("Previous Track"), QKeySequence(Qt::CTRL | Qt::Key_Left)),
            &QAction::triggered, this, [this] { detach(m_model.skipToPrevious()); });
    controls->addSeparator();
    QAction *shuffle = addAction(controls, QStringLiteral("shuffle"), QStringLiteral("Shuffle"));
    shuffle->setCheckable(true);
    connect(shuffle, &QAction::triggered, this, [this](bool on) { m_model.setShuffled(on); });
    controls->addSeparator();
    m_repeatGroup = new QActionGroup(this);
    const std::pair<const char *, MusicRepeatMode> repeats[] = {
        {"Repeat Off", MusicRepeatMode::none}, {"Repeat All", MusicRepeatMode::all}, {"Repeat One", MusicRepeatMode::one}};
    const char *names[] = {"repeatOff", "repeatAll", "repeatOne"};
    for (int i = 0; i < 3; ++i) {
        QAction *repeat = addAction(controls, QString::fromLatin1(names[i]), QString::fromUtf8(repeats[i].first));
        repeat->setCheckable(true);
        m_repeatGroup->addAction(repeat);
        const MusicRepeatMode mode = repeats[i].second;
        connect(repeat, &QAction::triggered, this, [this, mode] { m_model.setRepeatMode(mode); });
    }
}

void MainWindow::addHelpMenu(QMenuBar *bar)
{
    QMenu *help = bar->addMenu(QStringLiteral("&Help"));
    // Three ways into the same form; each opening is a window of its own.
    for (const auto &[name, text] : {std::pair{"reportIssue", "Report Issue…"}, std::pair{"requestFeature", "Request Feature…"},
                                     std::pair{"sendFeedback", "Send Feedback…"}}) {
        connect(addAction(help, QString::fromLatin1(name), QString::fromUtf8(text)), &QAction::triggered, this,
                [this] { openFeedbackWindow(this); });
    }
    help->addSeparator();
    // No confirmation: the entry's name says what it does.
    connect(addAction(help, QStringLiteral("resetData"), QStringLiteral("Reset Data")), &QAction::triggered, this,
            [this] { detach(m_app.resetData()); });
    help->addSeparator();
    connect(addAction(help, QStringLiteral("keyboardShortcuts"), QStringLiteral("Keyboard Shortcuts")), &QAction::triggered, this, [this] {
        if (!m_shortcutsWindow)
            m_shortcutsWindow = new KeyboardShortcutsWindow(this);
        m_shortcutsWindow->show();
        m_shortcutsWindow->raise();
        m_shortcutsWindow->activateWindow();
    });
    connect(addAction(help, QStringLiteral("help"), QStringLiteral("Lumevar Help")), &QAction::triggered, this,
            [] { QDesktopServices::openUrl(QUrl(QStringLiteral(LUMEVAR_PRODUCT_URL))); });
}

void MainWindow::buildToolbar()
{
    QToolBar *toolbar = addToolBar(QStringLiteral("Toolbar"));
    toolbar->setObjectName(QStringLiteral("toolbar"));
    toolbar->setMovable(false);
    toolbar->setFloatable(false);
    toolbar->toggleViewAction()->setVisible(false);
    toolbar->addAction(m_actions.value(QStringLiteral("back")));
    auto *leading = new QWidget(toolbar);
    leading->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    toolbar->addWidget(leading);
    m_title = new QLabel(toolbar);
    m_title->setObjectName(QStringLiteral("title"));
    QFont font = m_title->font();
    font.setBold(true);
    m_title->setFont(font);
    toolbar->addWidget(m_title);
    auto *trailing = new QWidget(toolbar);
    trailing->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    toolbar->addWidget(trailing);

    m_sortMenu = new QMenu(this);
    connect(m_sortMenu, &QMenu::aboutToShow, this, &MainWindow::rebuildSortMenu);
    m_sortButton = new QToolButton(toolbar);
    m_sortButton->setObjectName(QStringLiteral("sort"));
    m_sortButton->setIcon(Icons::drawnSymbol(QStringLiteral("line.3.horizontal.decrease.circle")));
    m_sortButton->setToolTip(QStringLiteral("Sort and filter"));
    m_sortButton->setMenu(m_sortMenu);
    m_sortButton->setPopupMode(QToolButton::InstantPopup);
    toolbar->addWidget(m_sortButton);

    QAction *search = toolbar->addAction(Icons::drawnSymbol(QStringLiteral("magnifyingglass")), QStringLiteral("Search"));
    search->setObjectName(QStringLiteral("searchButton"));
    search->setToolTip(ServiceTexts::searchButtonTooltip(MusicService::shared()));
    // The button keeps the source the picker shows.
    connect(search, &QAction::triggered, this, [this] { m_app.searchViewModel().activate(); });
    m_actions.insert(search->objectName(), search);
}

void MainWindow::rebuildSortMenu()
{
    m_sortMenu->clear();
    const std::optional<ContainerKind> kind = m_model.selectedContainerKind();
    if (!kind)
        return;
    switch (kind->value()) {
    case ContainerKind::playlists:
        addSortChoices(m_sortMenu, m_app.playlistsViewModel());
        break;
    case ContainerKind::albums:
        addSortChoices(m_sortMenu, m_app.albumsViewModel());
        break;
    case ContainerKind::artists:
        addSortChoices(m_sortMenu, m_app.artistsViewModel());
        break;
    case ContainerKind::songs:
        addSortChoices(m_sortMenu, m_app.topLevelSongsViewModel());
        break;
    case ContainerKind::madeForYou:
    case ContainerKind::stations:
        break;
    }
}

void MainWindow::buildCentre()
{
    auto *centre = new QWidget(this);
    auto *grid = new QGridLayout(centre);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setSpacing(0);

    m_panes = new PaneController(
        NavigatorModels{m_model, m_app.playlistsViewModel(), m_app.albumsViewModel(), m_app.artistsViewModel(),
                        m_app.topLevelSongsViewModel(), m_app.madeForYouViewModel(), m_app.stationsViewModel(),
                        m_app.songsViewModel()},
        ArtworkSource{[](const QString &id) { return ArtworkImageCache::shared().cachedThumbnail(id); },
                      [](std::optional<QUrl> url, QString id) { return ArtworkImageCache::shared().thumbnail(std::move(url), std::move(id)); }},
        this);
    m_listsArea = m_panes->view();
    m_listsArea->setParent(centre);
    m_listsArea->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    grid->addWidget(m_listsArea, 1, 0);
    grid->setRowStretch(1, 1); // the panes take the height the notice and the player bar leave

    m_addToast = new ToastView(QStringLiteral("checkmark.circle"), QStringLiteral("Added to Library"), false, centre);
    m_syncToast = new ToastView(QStringLiteral("arrow.trianglehead.2.clockwise.rotate.90"), QStringLiteral("Syncing Library"), true, centre);
    m_unavailable = new UnavailableView(centre);
    connect(m_unavailable, &UnavailableView::tryAgainRequested, this, [this] { detach(m_app.tryAgain()); });
    connect(m_unavailable, &UnavailableView::signInRequested, this, &MainWindow::showSignIn);
    grid->addWidget(m_unavailable, 1, 0);
    grid->addWidget(m_addToast, 1, 0, Qt::AlignCenter);
    grid->addWidget(m_syncToast, 1, 0, Qt::AlignCenter);
    // A notice takes its own row above the lists, hiding none of them.
    m_notice = new NoticeBanner(centre);
    grid->addWidget(m_notice, 0, 0);

    // The lists reach the window's bottom edge; the player bar floats over them there, and each
    // list keeps room below its last row so that no row stays hidden behind the bar.
    setCentralWidget(centre);

    m_playerView = new PlayerView(m_model);
    m_playerPanel = new FloatingPanel(m_playerView, FloatingPanel::Material::bar, &PanelFrames::playerFrame, this);
    m_playerPanel->setObjectName(QStringLiteral("playerPanel"));
}

void MainWindow::buildSearchPanel()
{
    SearchViewModel &search = m_app.searchViewModel();
    m_searchView = new SearchView(m_app.searchModels());
    m_searchController = new SearchWindowController(m_searchView, this);
    m_searchController->onClose = [&search] { search.close(); };
    m_searchView->onResize = [controller = m_searchController](double height) { controller->onResize(height); };
    // The surface and a click elsewhere both ask to close; the flag is cleared on the next turn,
    // once, so that a close during the surface's own key handling never pulls it from under it.
    m_searchView->onClose = [this, &search] {
        QMetaObject::invokeMethod(this, [&search] { search.close(); }, Qt::QueuedConnection);
    };
    m_searchController->setVisible(search.showsSearch());
    m_tokens.push_back(observeChanges(search.showsSearch, [this](bool, bool shows) { m_searchController->setVisible(shows); }));
}

void MainWindow::observeModel()
{
    const auto chrome = [this] { scheduleChrome(); };
    observeEach(m_tokens, chrome, m_model._canAddToLibrary, m_model._shareLink, m_model._shareableSongID, m_model._activePane,
                m_model._lastSavedSnapbackState, m_model._isStopped, m_model._isPlaying,
                m_model._navigationPath, m_model._isSingleColumn, m_model._isDoubleColumn);
    // Shuffle and repeat live in the player's state, which announces a change before making it.
    m_model.observePlayerModes(this, [this] { scheduleChrome(); });

    // The lists follow their own models while their panes are in the path (the navigator).
    m_tokens.push_back(observeChanges(m_model._selectedContainerKindID, [this] { scheduleChrome(); }));

    const auto overlays = [this] { refreshOverlays(); };
    observeEach(m_tokens, overlays, m_model._showAddToast, m_model._showSyncingToast, m_model._syncProgress);
    observeEach(m_tokens, overlays, m_app._notAuthorized, m_app._unavailableReason);
    m_tokens.push_back(observeChanges(m_model._storeNotice, [this] { m_notice->setText(m_model._storeNotice()); }));
    // A sync the user did not start (a changed music folder) refreshes the list on screen.
    m_tokens.push_back(observeChanges(m_model._libraryVersion, [this] { loadSelectedContainer(false); }));
    m_tokens.push_back(observeChanges(m_model._showPlayError, [this] { refreshPlayError(); }));
}

void MainWindow::scheduleChrome()
{
    if (m_chromeScheduled)
        return;
    m_chromeScheduled = true;
    QMetaObject::invokeMethod(this, [this] { refreshChrome(); }, Qt::QueuedConnection);
}

void MainWindow::refreshChrome()
{
    m_chromeScheduled = false;
    const MenuState state = menuState(m_model);
    m_actions.value(QStringLiteral("addToLibrary"))->setEnabled(state.canAddToLibrary);
    m_actions.value(QStringLiteral("share"))->setVisible(state.showsShareEntry);
    m_actions.value(QStringLiteral("share"))->setEnabled(state.showsShareEntry);
    m_actions.value(QStringLiteral("back"))->setEnabled(state.canGoBack);
    m_actions.value(QStringLiteral("snapBack"))->setEnabled(state.canSnapBack);
    for (const char *name : {"playPause", "stop", "nextTrack", "previousTrack"})
        m_actions.value(QString::fromLatin1(name))->setEnabled(state.controlsEnabled);
    m_actions.value(QStringLiteral("playPause"))->setText(state.playPauseTitle);
    m_sortButton->setEnabled(state.canSort);
    m_actions.value(QStringLiteral("shuffle"))->setChecked(m_model.isShuffled());
    const MusicRepeatMode repeat = m_model.repeatMode();
    m_actions.value(QStringLiteral("repeatOff"))->setChecked(repeat == MusicRepeatMode::none);
    m_actions.value(QStringLiteral("repeatAll"))->setChecked(repeat == MusicRepeatMode::all);
    m_actions.value(QStringLiteral("repeatOne"))->setChecked(repeat == MusicRepeatMode::one);
    const QString title = m_model.windowTitle();
    m_title->setText(title);
    setWindowTitle(title.isEmpty() ? MainViewModel::productName : title);
}

QString MainWindow::toolbarTitle() const { return m_title->text(); }

void MainWindow::loadSelectedContainer(bool sync)
{
    const std::optional<ContainerKind> kind = m_model.selectedContainerKind();
    if (!kind)
        return;
    switch (kind->value()) {
    case ContainerKind::playlists:
        detach(m_app.playlistsViewModel().load(sync));
        break;
    case ContainerKind::albums:
        detach(m_app.albumsViewModel().load(sync));
        break;
    case ContainerKind::artists:
        detach(m_app.artistsViewModel().load(sync));
        break;
    case ContainerKind::songs:
        detach(m_app.topLevelSongsViewModel().loadSongs(sync));
        break;
    case ContainerKind::madeForYou:
        detach(m_app.madeForYouViewModel().loadMadeForYou());
        break;
    case ContainerKind::stations:
        detach(m_app.stationsViewModel().loadStations());
        break;
    }
}

void MainWindow::openSearch(SearchPickerSelection source)
{
    SearchViewModel &search = m_app.searchViewModel();
    if (search.selection() != source)
        search.selection.set(source);
    search.activate();
}

void MainWindow::showSettings()
{
    if (!m_settingsWindow) {
        m_settingsWindow = new SettingsWindow(this);
        m_settingsWindow->setAttribute(Qt::WA_DeleteOnClose);
        connect(m_settingsWindow->source(), &SourceSettingsView::signInRequested, this, &MainWindow::showSignIn);
    }
    m_settingsWindow->show();
    m_settingsWindow->raise();
    m_settingsWindow->activateWindow();
}

SettingsWindow *MainWindow::settingsWindow() const { return m_settingsWindow; }

QCoro::Task<void> MainWindow::copyShareLink()
{
    QPointer self(this);
    QString failure;
    try {
        const QUrl link = co_await m_model.linkToShare();
        if (!self)
            co_return;
        QApplication::clipboard()->setText(link.toString());
        co_return;
    } catch (...) {
        failure = errorFromCurrentException().localizedDescription();
    }
    if (!self)
        co_return;
    auto *alert = new QMessageBox(QMessageBox::Warning, QStringLiteral("Can’t Copy Link"), failure, QMessageBox::Ok, this);
    alert->setAttribute(Qt::WA_DeleteOnClose);
    alert->open();
}

void MainWindow::showSignIn()
{
    if (!m_signInWindow) {
        m_signInWindow = new SignInWindow(this);
        m_signInWindow->setAttribute(Qt::WA_DeleteOnClose);
        if (const std::optional<SubsonicAccount> stored = MusicSourceSettings::serverAccount())
            m_signInWindow->fill(*stored);
        m_signInWindow->setLiveSwitch([](const SubsonicAccount &account) { return ServerSignIn::switchLive(MusicService::shared(), account); });
        // The running server took the password: the unavailable screen's way back in. A service
        // already in use signs in with it at its next request.
        connect(m_signInWindow, &SignInWindow::signedIn, this, [this](bool live) {
            if (live && m_app._notAuthorized())
                detach(m_app.tryAgain());
        });
        connect(m_signInWindow, &SignInWindow::relaunchRequested, this, &MainWindow::relaunchRequested);
    }
    m_signInWindow->show();
    m_signInWindow->raise();
    m_signInWindow->activateWindow();
}

SignInWindow *MainWindow::signInWindow() const { return m_signInWindow; }

void MainWindow::playPause() { detach(m_model._isPlaying() ? m_model.pausePlayback() : m_model.resumePlayback()); }

void MainWindow::refreshOverlays()
{
    const bool add = m_model._showAddToast();
    const bool syncing = !add && m_model._showSyncingToast();
    const bool notAuthorized = !add && !syncing && m_app._notAuthorized();
    m_addToast->setVisible(add);
    m_syncToast->setVisible(syncing);
    m_unavailable->setReason(m_app._unavailableReason());
    m_unavailable->setVisible(notAuthorized);

    // While the library syncs, the lists are dimmed and take no input.
    const bool dimmed = m_model._showSyncingToast();
    m_panes->setEnabled(!dimmed);
    if (dimmed && !m_listsArea->graphicsEffect()) {
        auto *effect = new QGraphicsOpacityEffect(m_listsArea);
        effect->setOpacity(0.5);
        m_listsArea->setGraphicsEffect(effect);
    } else if (!dimmed && m_listsArea->graphicsEffect()) {
        m_listsArea->setGraphicsEffect(nullptr);
    }

    disconnect(m_progressConnection);
    const std::shared_ptr<Progress> progress = m_model._syncProgress();
    if (progress) {
        m_syncToast->setProgress(progress->fractionCompleted());
        m_progressConnection = connect(progress.get(), &Progress::changed, m_syncToast,
                                       [toast = m_syncToast, weak = std::weak_ptr<Progress>(progress)] {
                                           if (const auto p = weak.lock())
                                               toast->setProgress(p->fractionCompleted());
                                       });
    } else {
        m_syncToast->setProgress(std::nullopt);
    }
}

QString MainWindow::visibleOverlay() const
{
    if (!m_addToast->isHidden())
        return m_addToast->label();
    if (!m_syncToast->isHidden())
        return m_syncToast->label();
    if (!m_unavailable->isHidden())
        return UnavailableView::titleText();
    return {};
}

QString MainWindow::unavailableDescription() const { return m_unavailable->shownDescription(); }

QString MainWindow::visibleNotice() const { return m_notice->isHidden() ? QString() : m_notice->text(); }

void MainWindow::refreshPlayError()
{
    if (!m_model._showPlayError()) {
        if (m_playErrorAlert)
            m_playErrorAlert->close();
        return;
    }
    if (m_playErrorAlert)
        return;
    auto *alert = new QMessageBox(QMessageBox::Warning, playErrorTitle, playErrorTitle, QMessageBox::Ok, this);
    alert->setObjectName(QStringLiteral("playErrorAlert"));
    // The service in use says why in its own words (a server that cannot be reached).
    alert->setInformativeText(ServiceTexts::playErrorMessage(MusicService::shared()));
    alert->setAttribute(Qt::WA_DeleteOnClose);
    connect(alert, &QMessageBox::finished, this, [this] {
        if (m_model._showPlayError())
            m_model._showPlayError.set(false);
    });
    m_playErrorAlert = alert;
    alert->open();
}

void MainWindow::raiseWindow()
{
    show();
    setWindowState(windowState() & ~Qt::WindowMinimized);
    raise();
    activateWindow();
}

void MainWindow::showEvent(QShowEvent *event)
{
    QMainWindow::showEvent(event);
    if (m_appeared)
        return;
    m_appeared = true;
    detach(m_app.firstAppear());
}

void MainWindow::closeEvent(QCloseEvent *event)
{
    // The window goes; the process, its models and playback stay.
    event->accept();
}

void MainWindow::resizeEvent(QResizeEvent *event)
{
    QMainWindow::resizeEvent(event);
    const int width = centralWidget() ? centralWidget()->width() : this->width();
    const bool single = width <= 400;
    const bool twoColumns = width > 400 && width <= 800;
    if (m_model._isSingleColumn() != single)
        m_model._isSingleColumn.set(single);
    if (m_model._isDoubleColumn() != twoColumns)
        m_model._isDoubleColumn.set(twoColumns);
}
