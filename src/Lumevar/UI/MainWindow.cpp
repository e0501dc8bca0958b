#include "Lumevar/UI/MainWindow.h"

#include "Lumevar/App/LumevarApp.h"
#include "Lumevar/App/Updater.h"
#include "Lumevar/UI/Icons.h"
#include "Lumevar/UI/KeyboardShortcutsWindow.h"
#include "Lumevar/UI/Panels/FloatingPanel.h"
#include "Lumevar/UI/Panels/PanelFrames.h"
#include "Lumevar/UI/Player/PlayerView.h"
#include "Lumevar/UI/SelectionList.h"
#include "Lumevar/UI/ToastView.h"
#include "Lumevar/UI/NoticeBanner.h"
#include "Lumevar/UI/UnavailableView.h"
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

// Runs a play request of a list and turns its failure into the play-error alert.
QCoro::Task<void> playReportingFailure(MainViewModel &model, std::function<QCoro::Task<void>()> play)
{
    try {
        co_await play();
    } catch (const CancellationError &) {
    } catch (...) {
        model.reportPlayFailure(errorFromCurrentException());
    }
}

template <typename T>
QList<SelectionList::Row> rowsOf(const QList<T> &elements)
{
    QList<SelectionList::Row> rows;
    rows.reserve(elements.size());
    for (const T &element : elements) {
        QString text = title(element);
        if constexpr (std::is_same_v<T, LocalAlbum>) {
            if (element.artistName && !element.artistName->isEmpty())
                text += QStringLiteral(" — ") + *element.artistName;
        }
        rows.append({element.id, text});
    }
    return rows;
}

QList<SelectionList::Row> rowsOf(const QList<MusicPersonalRecommendation::Item> &items)
{
    QList<SelectionList::Row> rows;
    rows.reserve(items.size());
    for (const MusicPersonalRecommendation::Item &item : items)
        rows.append({item.id().rawValue(), item.title()});
    return rows;
}

std::optional<QString> rawID(const std::optional<MusicItemID> &id)
{
    return id ? std::optional<QString>(id->rawValue()) : std::nullopt;
}

QList<SelectionList::Row> rowsOf(const QList<SongSelection> &selections)
{
    QList<SelectionList::Row> rows;
    rows.reserve(selections.size());
    for (const SongSelection &selection : selections) {
        QString text = selection.title();
        if (const LocalSong *song = selection.localSong(); song && song->artistName)
            text += QStringLiteral(" — ") + *song->artistName;
        rows.append({selection.id(), text});
    }
    return rows;
}

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
    observeModel();
    refreshRootList();
    refreshContainerList();
    refreshDetailList();
    refreshOverlays();
    refreshChrome();
}

MainWindow::~MainWindow() = default;

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

    QMenu *appMenu = bar->addMenu(QStringLiteral("&Lumevar"));
    connect(addAction(appMenu, QStringLiteral("checkForUpdates"), QStringLiteral("Check for Updates…")), &QAction::triggered,
            this, [this] {
                if (Updater *updater = m_app.updater())
                    updater->checkForUpdates();
            });
    appMenu->addSeparator();
    QAction *quit = addAction(appMenu, QStringLiteral("quit"), QStringLiteral("Quit Lumevar"), QKeySequence(Qt::CTRL | Qt::Key_Q));
    quit->setMenuRole(QAction::QuitRole);
    connect(quit, &QAction::triggered, this, &MainWindow::quitRequested);

    QMenu *file = bar->addMenu(QStringLiteral("&File"));
    // The search panel is not part of this window yet: its entries are shown, and disabled.
    QAction *search = addAction(file, QStringLiteral("search"), QStringLiteral("Search"), QKeySequence(Qt::CTRL | Qt::Key_F));
    QAction *searchCatalog = addAction(file, QStringLiteral("searchCatalog"), QStringLiteral("Search Apple Music"),
                                       QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_F));
    search->setEnabled(false);
    searchCatalog->setEnabled(false);
    connect(addAction(file, QStringLiteral("updateLibrary"), QStringLiteral("Update Library"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_R)),
            &QAction::triggered, this, [this] { detach(m_model.performFullSync()); });

    QMenu *song = bar->addMenu(QStringLiteral("&Song"));
    connect(addAction(song, QStringLiteral("addToLibrary"), QStringLiteral("Add to Library"), QKeySequence(Qt::CTRL | Qt::Key_S)),
            &QAction::triggered, this, [this] { detach(m_model.addCurrentSongToLibrary()); });
    // Linux has no share sheet: sharing puts the song's web link on the clipboard.
    connect(addAction(song, QStringLiteral("share"), QStringLiteral("Copy Link"), QKeySequence(Qt::CTRL | Qt::Key_Y)),
            &QAction::triggered, this, [this] {
                if (const std::optional<QUrl> &link = m_model._shareLink())
                    QApplication::clipboard()->setText(link->toString());
            });

    QMenu *view = bar->addMenu(QStringLiteral("&View"));
    QAction *back = addAction(view, QStringLiteral("back"), QStringLiteral("Back"), QKeySequence(Qt::CTRL | Qt::Key_BracketLeft));
    back->setIcon(Icons::symbol(QStringLiteral("chevron.backward")));
    back->setToolTip(QStringLiteral("Back"));
    connect(back, &QAction::triggered, this, [this] { m_model.navigateBack(); });
    connect(addAction(view, QStringLiteral("snapBack"), QStringLiteral("Library SnapBack"), QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_S)),
            &QAction::triggered, this, [this] { m_model.snapBack(); });

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

    QMenu *help = bar->addMenu(QStringLiteral("&Help"));
    // The feedback form is not part of this window yet: its entries are shown, and disabled.
    addAction(help, QStringLiteral("reportIssue"), QStringLiteral("Report Issue…"))->setEnabled(false);
    addAction(help, QStringLiteral("requestFeature"), QStringLiteral("Request Feature…"))->setEnabled(false);
    addAction(help, QStringLiteral("sendFeedback"), QStringLiteral("Send Feedback…"))->setEnabled(false);
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
    m_sortButton->setIcon(Icons::symbol(QStringLiteral("line.3.horizontal.decrease.circle")));
    m_sortButton->setToolTip(QStringLiteral("Sort and filter"));
    m_sortButton->setMenu(m_sortMenu);
    m_sortButton->setPopupMode(QToolButton::InstantPopup);
    toolbar->addWidget(m_sortButton);

    QAction *search = toolbar->addAction(Icons::symbol(QStringLiteral("magnifyingglass")), QStringLiteral("Search"));
    search->setObjectName(QStringLiteral("searchButton"));
    search->setToolTip(QStringLiteral("Search your library or the Apple Music catalog"));
    search->setEnabled(false);
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

    m_listsArea = new QWidget(centre);
    auto *columns = new QHBoxLayout(m_listsArea);
    columns->setContentsMargins(4, 4, 4, 4);
    const char *names[] = {"rootList", "containerList", "detailList"};
    for (int pane = 0; pane < 3; ++pane) {
        auto *list = new SelectionList(m_listsArea);
        list->setObjectName(QString::fromLatin1(names[pane]));
        columns->addWidget(list, pane == 0 ? 2 : 3);
        m_lists[pane] = list;
        connect(list, &SelectionList::moveLeft, this, [this, pane] { focusPane(std::max(0, pane - 1)); });
        connect(list, &SelectionList::moveRight, this, [this, pane] {
            if (pane < 2 && m_lists[pane + 1]->count() > 0)
                focusPane(pane + 1);
        });
        connect(list, &SelectionList::focused, this, [this, pane] {
            if (m_model._activePane() != pane)
                m_model._activePane.set(pane);
        });
    }
    connect(m_lists[0], &SelectionList::selectionChanged, this, &MainWindow::selectContainer);
    connect(m_lists[0], &SelectionList::activated, this, [this] { focusPane(1); });
    connect(m_lists[1], &SelectionList::selectionChanged, this, &MainWindow::selectInContainer);
    connect(m_lists[1], &SelectionList::activated, this, &MainWindow::activateInContainer);
    connect(m_lists[2], &SelectionList::selectionChanged, this, [this](const QString &id) { m_model._selectedDetailSongID.set(id); });
    connect(m_lists[2], &SelectionList::activated, this, [this](const QString &id) { detach(m_app.songsViewModel().playSelection(id)); });
    grid->addWidget(m_listsArea, 1, 0);

    m_addToast = new ToastView(QStringLiteral("checkmark.circle"), QStringLiteral("Added to Library"), false, centre);
    m_syncToast = new ToastView(QStringLiteral("arrow.trianglehead.2.clockwise.rotate.90"), QStringLiteral("Syncing Library"), true, centre);
    m_unavailable = new UnavailableView(centre);
    connect(m_unavailable, &UnavailableView::tryAgainRequested, this, [this] { detach(m_app.tryAgain()); });
    grid->addWidget(m_unavailable, 1, 0);
    grid->addWidget(m_addToast, 1, 0, Qt::AlignCenter);
    grid->addWidget(m_syncToast, 1, 0, Qt::AlignCenter);
    // A notice takes its own row above the lists, hiding none of them.
    m_notice = new NoticeBanner(centre);
    grid->addWidget(m_notice, 0, 0);

    // The player bar floats over the bottom of the window; this row keeps the lists' last rows clear of it.
    grid->setRowMinimumHeight(2, int(PanelFrames::playerHeight) - int(PanelFrames::panelInset));
    setCentralWidget(centre);

    m_playerView = new PlayerView(m_model);
    m_playerPanel = new FloatingPanel(m_playerView, FloatingPanel::Material::bar, &PanelFrames::playerFrame, this);
    m_playerPanel->setObjectName(QStringLiteral("playerPanel"));
}

void MainWindow::observeModel()
{
    const auto chrome = [this] { scheduleChrome(); };
    observeEach(m_tokens, chrome, m_model._canAddToLibrary, m_model._shareLink, m_model._activePane,
                m_model._lastSavedSnapbackState, m_model._isStopped, m_model._isPlaying,
                m_model._navigationPath, m_model._isSingleColumn, m_model._isDoubleColumn);
    // Shuffle and repeat live in the player's state, which announces a change before making it.
    connect(&ApplicationMusicPlayer::shared().state(), &ApplicationMusicPlayerState::objectWillChange, this, &MainWindow::scheduleChrome,
            Qt::QueuedConnection);

    m_tokens.push_back(observeChanges(m_model._selectedContainerKindID, [this] {
        refreshRootList();
        refreshContainerList();
        loadSelectedContainer(true);
        scheduleChrome();
    }));
    const auto container = [this] { refreshContainerList(); };
    m_tokens.push_back(observeChanges(m_app.playlistsViewModel()._items, container));
    m_tokens.push_back(observeChanges(m_app.albumsViewModel()._items, container));
    m_tokens.push_back(observeChanges(m_app.artistsViewModel()._items, container));
    observeEach(m_tokens, container, m_model._topLevelSongs, m_model._selectedPlaylistID,
                m_model._selectedAlbumID, m_model._selectedArtistID, m_model._selectedTopLevelSongID);
    m_tokens.push_back(observeChanges(m_app.madeForYouViewModel()._items, container));
    m_tokens.push_back(observeChanges(m_app.stationsViewModel()._items, container));
    m_tokens.push_back(observeChanges(m_model._selectedMadeForYouID, container));
    m_tokens.push_back(observeChanges(m_model._selectedStationID, container));
    // The collection models load the songs of each newly selected collection.
    m_tokens.push_back(m_app.playlistsViewModel().observeSelection());
    m_tokens.push_back(m_app.albumsViewModel().observeSelection());
    m_tokens.push_back(m_app.artistsViewModel().observeSelection());

    const auto detail = [this] { refreshDetailList(); };
    observeEach(m_tokens, detail, m_model._detailSongs, m_model._selectedDetailSongID,
                m_model._navigationPath);

    const auto overlays = [this] { refreshOverlays(); };
    observeEach(m_tokens, overlays, m_model._showAddToast, m_model._showSyncingToast, m_model._syncProgress);
    observeEach(m_tokens, overlays, m_app._notAuthorized, m_app._unavailableReason);
    m_tokens.push_back(observeChanges(m_model._storeNotice, [this] { m_notice->setText(m_model._storeNotice()); }));
    // A sync the user did not start (a changed music folder) refreshes the list on screen.
    m_tokens.push_back(observeChanges(m_model._libraryVersion, [this] { loadSelectedContainer(false); }));
    m_tokens.push_back(observeChanges(m_model._showPlayError, [this] { refreshPlayError(); }));
    m_tokens.push_back(observeChanges(m_model._activePane, [this](int, int pane) { focusPane(pane); }));
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

void MainWindow::refreshRootList()
{
    QList<SelectionList::Row> rows;
    for (const ContainerKind kind : ContainerKind::allCases())
        rows.append({kind.id(), kind.title()});
    m_lists[0]->setRows(rows, m_model._selectedContainerKindID());
}

void MainWindow::refreshContainerList()
{
    const std::optional<ContainerKind> kind = m_model.selectedContainerKind();
    QList<SelectionList::Row> rows;
    std::optional<QString> selected;
    if (kind) {
        switch (kind->value()) {
        case ContainerKind::playlists:
            rows = rowsOf(m_app.playlistsViewModel()._items());
            selected = m_model._selectedPlaylistID();
            break;
        case ContainerKind::albums:
            rows = rowsOf(m_app.albumsViewModel()._items());
            selected = m_model._selectedAlbumID();
            break;
        case ContainerKind::artists:
            rows = rowsOf(m_app.artistsViewModel()._items());
            selected = m_model._selectedArtistID();
            break;
        case ContainerKind::songs:
            rows = rowsOf(m_app.topLevelSongsViewModel().songSelections());
            selected = m_model._selectedTopLevelSongID();
            break;
        case ContainerKind::madeForYou:
            rows = rowsOf(m_app.madeForYouViewModel()._items());
            selected = rawID(m_model._selectedMadeForYouID());
            break;
        case ContainerKind::stations:
            rows = rowsOf(m_app.stationsViewModel()._items());
            selected = rawID(m_model._selectedStationID());
            break;
        }
    }
    m_lists[1]->setRows(rows, selected);
}

void MainWindow::refreshDetailList()
{
    // The detail songs belong to the collection of the path's third step; without one there are none.
    const bool shown = m_model._navigationPath().size() >= 3;
    m_lists[2]->setRows(shown ? rowsOf(m_app.songsViewModel().songSelections()) : QList<SelectionList::Row>{},
                        m_model._selectedDetailSongID());
}

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

void MainWindow::selectContainer(const QString &id)
{
    if (m_model._selectedContainerKindID() == id)
        return;
    const ContainerKind kind = ContainerKind::fromID(id);
    m_model._selectedContainerKindID.set(id);
    m_model._navigationPath.set({NavigationItem::root(), NavigationItem::container(kind)});
}

void MainWindow::selectInContainer(const QString &id)
{
    const std::optional<ContainerKind> kind = m_model.selectedContainerKind();
    if (!kind)
        return;
    switch (kind->value()) {
    case ContainerKind::playlists:
        m_model._selectedPlaylistID.set(id);
        break;
    case ContainerKind::albums:
        m_model._selectedAlbumID.set(id);
        break;
    case ContainerKind::artists:
        m_model._selectedArtistID.set(id);
        break;
    case ContainerKind::songs:
        m_model._selectedTopLevelSongID.set(id);
        break;
    case ContainerKind::madeForYou:
        m_model._selectedMadeForYouID.set(MusicItemID(id));
        break;
    case ContainerKind::stations:
        m_model._selectedStationID.set(MusicItemID(id));
        break;
    }
}

void MainWindow::activateInContainer(const QString &id)
{
    const std::optional<ContainerKind> kind = m_model.selectedContainerKind();
    if (!kind)
        return;
    LumevarApp &app = m_app;
    switch (kind->value()) {
    case ContainerKind::playlists:
        detach(playReportingFailure(m_model, [&app] { return app.playlistsViewModel().playSelected(); }));
        break;
    case ContainerKind::albums:
        detach(playReportingFailure(m_model, [&app] { return app.albumsViewModel().playSelected(); }));
        break;
    case ContainerKind::artists:
        detach(playReportingFailure(m_model, [&app] { return app.artistsViewModel().playSelected(); }));
        break;
    case ContainerKind::songs:
        detach(playReportingFailure(m_model, [&app, id] { return app.topLevelSongsViewModel().playSelection(id); }));
        break;
    // The recommendation models report their own failures.
    case ContainerKind::madeForYou:
        detach(app.madeForYouViewModel().play(MusicItemID(id), false));
        break;
    case ContainerKind::stations:
        detach(app.stationsViewModel().play(MusicItemID(id)));
        break;
    }
}

void MainWindow::focusPane(int pane)
{
    pane = std::clamp(pane, 0, 2);
    if (!m_lists[pane]->hasFocus())
        m_lists[pane]->setFocus(Qt::OtherFocusReason);
    if (m_model._activePane() != pane && pane <= 2 && m_model._activePane() <= 2)
        m_model._activePane.set(pane);
}

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
    m_listsArea->setEnabled(!dimmed);
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
    alert->setInformativeText(playErrorMessage);
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
