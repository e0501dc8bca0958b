// The navigator in the main window, driven by real keys, clicks and wheel events offscreen: the
// arrows glide between panes and beep at the ends, a horizontal two-finger swipe moves one pane
// per gesture, Return and a screen reader's press play a row, the play button over a row's artwork
// plays that row, a click at the one-pane width moves on, Library SnapBack brings back the
// selected row of another pane, and a list whose pane left the path follows its model no more.

#include "ModelTestFixture.h"

#include "Lumevar/App/LumevarApp.h"
#include "Lumevar/Library/CollectionViewModel.h"
#include "Lumevar/Library/SortOrders.h"
#include "Lumevar/Navigator/CollectionListModel.h"
#include "Lumevar/UI/MainWindow.h"
#include "Lumevar/UI/Navigator/CollectionListView.h"
#include "Lumevar/UI/Navigator/PaneController.h"
#include "Lumevar/UI/Navigator/PaneScreen.h"
#include "Lumevar/UI/Navigator/PaneStripView.h"
#include "Lumevar/UI/Navigator/RowArtwork.h"
#include "Support/UserDefaults.h"
#include "TestKit/TestPalettes.h"

#include <QAbstractItemModelTester>
#include <QAccessible>
#include <QApplication>
#include <QElapsedTimer>
#include <QMenu>
#include <QSignalSpy>
#include <QTest>
#include <QWheelEvent>

// Readable failures: a path step prints as its identifier.
void PrintTo(const NavigationItem &item, std::ostream *os) { *os << item.id().toStdString(); }

class NavigatorWindowTest : public ModelTest {
protected:
    NavigatorWindowTest()
    {
        LumevarApp::Environment environment;
        environment.isLowPowerMode = []() -> QCoro::Task<bool> { co_return true; };
        environment.terminate = [] {};
        environment.databasePath = database->path();
        UserDefaults::standard().set(MainViewModel::performedFullSyncKey, true);
        app = std::make_unique<LumevarApp>(environment);
        window = std::make_unique<MainWindow>(*app);
        panes()->beep = [this] { ++beeps; };
    }
    ~NavigatorWindowTest() override
    {
        window.reset();
        app.reset();
    }

    MainViewModel &main() { return app->mainViewModel(); }
    PaneController *panes() { return window->paneController(); }
    CollectionListView *list(int pane)
    {
        PaneScreen *screen = panes()->screen(pane);
        return screen ? screen->view() : nullptr;
    }
    // Shows the window at the given width and launches: the Playlists container is selected.
    void launch(int width)
    {
        window->resize(width, 500);
        window->show();
        QApplication::setActiveWindow(window.get());
        finish(app->firstAppear());
        ASSERT_TRUE(waitUntil([&] { return showsThePath(); }, "the panes of the launch's path"));
    }
    // The panes show the model's path, each list in place.
    bool showsThePath()
    {
        return panes()->displayedNavigationPath() == main()._navigationPath() && panes()->paneCount() == main()._navigationPath().size();
    }
    bool showsContainer(ContainerKind::Case kind)
    {
        const QList<NavigationItem> &path = main()._navigationPath();
        return path.size() >= 2 && path[1] == NavigationItem::container(kind) && showsThePath();
    }
    void store(const QList<Song> &songs)
    {
        const qint64 generation = runTask(database->beginSync(LocalDatabase::LibraryKind::songs));
        runTask(database->storeLibrarySongs(songs, generation, 0));
        runTask(database->finishSync(LocalDatabase::LibraryKind::songs, generation));
        UserDefaults::standard().set(QStringLiteral("lastSongSync"), clock.now());
    }
    void storeAlbums(const QList<Album> &albums)
    {
        const qint64 generation = runTask(database->beginSync(LocalDatabase::LibraryKind::albums));
        runTask(database->storeAlbums(albums, generation));
        runTask(database->finishSync(LocalDatabase::LibraryKind::albums, generation));
        UserDefaults::standard().set(QStringLiteral("lastAlbumSync"), clock.now());
        service.library.albums = albums;
    }
    void storePlaylists(const QList<Playlist> &playlists)
    {
        const qint64 generation = runTask(database->beginSync(LocalDatabase::LibraryKind::playlists));
        runTask(database->storePlaylists(playlists, generation));
        runTask(database->finishSync(LocalDatabase::LibraryKind::playlists, generation));
        UserDefaults::standard().set(QStringLiteral("lastPlaylistSync"), clock.now());
        service.library.playlists = playlists;
    }
    // Songs of an album as the service lists them: the store finds them by the album's title.
    static QList<Song> albumSongs(int count, const QString &prefix, const QString &album)
    {
        QList<Song> songs = FakeMusicService::songs(count, prefix);
        for (Song &song : songs) {
            song.albumTitle = album;
            song.albumArtistName = QStringLiteral("Artist");
        }
        return songs;
    }
    void click(CollectionListView *view, int row)
    {
        QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, view->rowRect(row).center() + QPoint(20, 0));
    }

    // A touchpad's horizontal movement as X11 delivers it: pixels, no phase. The strip receives
    // what a list leaves to it (a list ignores horizontal movement and Qt hands it up).
    void swipe(int dx, int dy = 0)
    {
        PaneStripView *strip = panes()->view();
        const QPointF at(strip->width() / 2.0, strip->height() / 2.0);
        QWheelEvent event(at, strip->mapToGlobal(at), QPoint(dx, dy), QPoint(dx, dy) * 3, Qt::NoButton,
                          Qt::NoModifier, Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(strip, &event);
    }

    int beeps = 0;
    std::unique_ptr<LumevarApp> app;
    std::unique_ptr<MainWindow> window;
};

TEST_F(NavigatorWindowTest, ArrowsGlideBetweenPanesAndBeepAtTheEnds)
{
    storeAlbums({FakeMusicService::album(QStringLiteral("al1"), QStringLiteral("First"))});
    launch(400);
    ASSERT_EQ(panes()->paneCount(), 2);
    PaneStripView *strip = panes()->view();
    EXPECT_EQ(strip->width(), 400);
    ASSERT_TRUE(waitUntil([&] { return list(0)->hasFocus(); }));

    QTest::keyClick(list(0), Qt::Key_Left);
    EXPECT_EQ(beeps, 1);
    EXPECT_EQ(main()._activePane(), 0);

    QTest::keyClick(list(0), Qt::Key_Right);
    EXPECT_EQ(main()._activePane(), 1);
    EXPECT_EVENTUALLY_TRUE(strip->isGliding()); // the change came in a 0.3 s group: the strip glides to it
    EXPECT_EQ(strip->targetOffset(), 400);
    ASSERT_TRUE(waitUntil([&] { return list(1)->hasFocus(); })); // the active pane's list takes the keys

    // Playlists has a third level, but no playlist is published yet: the right arrow still moves.
    main()._selectedContainerKindID.set(QStringLiteral("songs"));
    ASSERT_TRUE(waitUntil([&] { return showsContainer(ContainerKind::songs); }));
    QTest::keyClick(list(1), Qt::Key_Right);
    EXPECT_EQ(beeps, 2); // Songs ends at pane 1
    EXPECT_EQ(main()._activePane(), 1);

    main()._selectedContainerKindID.set(QStringLiteral("albums"));
    ASSERT_TRUE(waitUntil([&] { return showsContainer(ContainerKind::albums) && panes()->paneCount() == 3; }));
    QTest::keyClick(list(1), Qt::Key_Right);
    EXPECT_EQ(main()._activePane(), 2);
    QTest::keyClick(list(1), Qt::Key_Left);
    EXPECT_EQ(main()._activePane(), 1);
    // A jump made outside an animation group (in a later turn) does not glide.
    settle();
    main()._activePane.set(0);
    settle();
    EXPECT_FALSE(strip->isGliding());
    EXPECT_EQ(strip->offset(), 0);
}

TEST_F(NavigatorWindowTest, AHorizontalSwipeMovesOnePanePerGestureAndAVerticalOneDoesNot)
{
    storeAlbums({FakeMusicService::album(QStringLiteral("al1"), QStringLiteral("First"))});
    launch(400);
    ASSERT_EQ(panes()->paneCount(), 2);

    // Fingers moving left pull the next pane in: 0.08 of the 400-pixel strip is 32 pixels.
    swipe(-20);
    EXPECT_EQ(main()._activePane(), 0);
    swipe(-20);
    EXPECT_EQ(main()._activePane(), 1);
    EXPECT_EVENTUALLY_TRUE(panes()->view()->isGliding());
    // The rest of the same gesture moves nothing more, and the end of the strip does not beep.
    swipe(-60);
    swipe(-60);
    EXPECT_EQ(main()._activePane(), 1);
    EXPECT_EQ(beeps, 0);

    // A pause of 0.2 s ends the gesture; the next one, fingers moving right, goes back.
    clock.advance(0.25);
    swipe(25);
    swipe(25);
    EXPECT_EQ(main()._activePane(), 0);

    // Movement that is mostly vertical is scrolling, never a swipe.
    clock.advance(0.25);
    for (int i = 0; i < 4; ++i)
        swipe(-30, -90);
    EXPECT_EQ(main()._activePane(), 0);
}

TEST_F(NavigatorWindowTest, ThePlayButtonOverARowsArtworkPlaysThatRowAndPausesThePlayingOne)
{
    storeAlbums({FakeMusicService::album(QStringLiteral("al1"), QStringLiteral("First")),
                 FakeMusicService::album(QStringLiteral("al2"), QStringLiteral("Second"))});
    service.albumTracks[MusicItemID(QStringLiteral("al1"))] = albumSongs(3, QStringLiteral("a"), QStringLiteral("First"));
    service.albumTracks[MusicItemID(QStringLiteral("al2"))] = albumSongs(2, QStringLiteral("b"), QStringLiteral("Second"));
    launch(1000);
    main()._selectedContainerKindID.set(QStringLiteral("albums"));
    ASSERT_TRUE(waitUntil([&] { return list(1) && list(1)->model().count() == 2 && list(2); }));
    CollectionListView *albums = list(1);
    const int second = albums->model().itemID(0) == QStringLiteral("al2") ? 0 : 1;
    // The button shows once the row's artwork has settled (here: failed, the fake URL loads nothing).
    TableCellContent content;
    albums->model().configure(content, second, ConfigurationType::regular);
    RowArtwork *artworkSlots = albums->findChild<RowArtwork *>();
    ASSERT_TRUE(artworkSlots && content.artworkID);
    ASSERT_TRUE(waitUntil([&] { return artworkSlots->slot(content.artworkURL, *content.artworkID).state != ArtworkState::unknown; }));
    // The artwork sits at the row's leading edge.
    const QRect row = albums->rowRect(second);
    const QPoint artwork = row.topLeft() + QPoint(12, row.height() / 2);
    QTest::mouseMove(albums->viewport(), artwork);
    settle();
    QTest::mouseClick(albums->viewport(), Qt::LeftButton, {}, artwork);
    ASSERT_TRUE(waitUntil([&] { return player.queue().currentEntry().has_value(); }));
    // The row is selected alone and its album plays from the start.
    EXPECT_EQ(albums->selectedRow(), second);
    EXPECT_EQ(player.queue().entries().size(), 2);
    EXPECT_EQ(player.queue().currentEntry()->title, service.albumTracks[MusicItemID(QStringLiteral("al2"))].first().title);

    // Over the playing row the button pauses, once the row's artwork has settled again: the row
    // that now shows it plays asks for its artwork anew, and a busy machine may still be loading it.
    clock.advance(1); // the player mirror settles after its debounce
    ASSERT_TRUE(waitUntil([&] { return main().isPlayingSource(ContainerKind::albums, QStringLiteral("al2")); }));
    settle();
    artworkSlots = albums->findChild<RowArtwork *>();
    ASSERT_TRUE(waitUntil([&] { return artworkSlots->slot(content.artworkURL, *content.artworkID).state != ArtworkState::unknown; }));
    QTest::mouseMove(albums->viewport(), artwork + QPoint(1, 0));
    settle();
    QTest::mouseClick(albums->viewport(), Qt::LeftButton, {}, artwork + QPoint(1, 0));
    ASSERT_TRUE(waitUntil([&] { return player.state().playbackStatus() == MusicPlaybackStatus::paused; }));
}

TEST_F(NavigatorWindowTest, AFailedPlayFromAPlaylistsContextMenuShowsNoAlert)
{
    // A playlist without songs: its Play and Shuffle fail with no songs to play.
    storePlaylists({FakeMusicService::playlist(QStringLiteral("p1"), QStringLiteral("Empty"))});
    service.playlistTracks[MusicItemID(QStringLiteral("p1"))] = {};
    launch(1000);
    ASSERT_TRUE(waitUntil([&] { return list(1) && list(1)->model().count() == 1; }));
    for (const QString &entry : {QStringLiteral("Play"), QStringLiteral("Shuffle")}) {
        std::unique_ptr<QMenu> menu(list(1)->menuProvider(0));
        ASSERT_TRUE(menu);
        QAction *chosen = nullptr;
        for (QAction *action : menu->actions())
            if (action->text() == entry)
                chosen = action;
        ASSERT_NE(chosen, nullptr) << entry.toStdString();
        chosen->trigger();
        clock.advance(1);
        settle();
        EXPECT_FALSE(main()._showPlayError()) << entry.toStdString();
        EXPECT_FALSE(player.queue().currentEntry().has_value());
    }
}

TEST_F(NavigatorWindowTest, ReturnAndADoubleClickPlayTheChosenRowOfALargeRelaunchedLibrary)
{
    // A relaunch: the songs come back from the records saved beside the store, in title order,
    // and the rows below the first screen are measured as they come into view.
#if defined(__SANITIZE_ADDRESS__)
    const int count = 10'000;
#else
    const int count = 100'000;
#endif
    QList<Song> songs = FakeMusicService::songs(count, QStringLiteral("big"));
    for (int i = 0; i < songs.size(); ++i)
        songs[i].title = QStringLiteral("Title %1").arg((i * 7919) % count, 6, 10, QLatin1Char('0'));
    store(songs);
    UserDefaults::standard().set(QStringLiteral("sortSongsBy"), int(SongSortOrder::title));
    runTask(database->allLibrarySongs({LocalSong::SortKey::title}));
    const QString path = database->path();
    runTask(database->close());
    app.reset();
    window.reset();
    database = std::make_unique<LocalDatabase>(path);
    runTask(database->open());
    LocalDatabase::setShared(database.get());
    LumevarApp::Environment environment;
    environment.isLowPowerMode = []() -> QCoro::Task<bool> { co_return true; };
    environment.terminate = [] {};
    environment.databasePath = path;
    app = std::make_unique<LumevarApp>(environment);
    window = std::make_unique<MainWindow>(*app);
    launch(800);
    main()._selectedContainerKindID.set(QStringLiteral("songs"));
    QElapsedTimer loading;
    loading.start();
    while (!(list(1) && list(1)->model().count() == count + 2) && loading.elapsed() < 30000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    ASSERT_TRUE(list(1) && list(1)->model().count() == count + 2);
    CollectionListView *view = list(1);
    view->setFocus(Qt::TabFocusReason);
    for (int i = 0; i < 7; ++i)
        QTest::keyClick(view, Qt::Key_Down);
    ASSERT_TRUE(waitUntil([&] { return view->selectedRow() == 7; }));
    const QString chosen = view->model().itemTitle(7);
    EXPECT_EQ(chosen, QStringLiteral("Title 000005")); // Play, Shuffle, then titles in order
    QTest::keyClick(view, Qt::Key_Return);
    ASSERT_TRUE(waitUntil([&] { return player.queue().currentEntry().has_value(); }));
    EXPECT_EQ(player.queue().currentEntry()->title, chosen);

    // Far down, after a jump: a double click on a row plays that row.
    QTest::keyClick(view, Qt::Key_End);
    const int last = view->model().count() - 1;
    // Scrolled there once the rows on the way are measured (in a delayed layout).
    ASSERT_TRUE(waitUntil([&] { return view->viewport()->rect().contains(view->rowRect(last).center()); }));
    const QRect rect = view->rowRect(last);
    QTest::mouseDClick(view->viewport(), Qt::LeftButton, {}, rect.center() + QPoint(20, 0));
    ASSERT_TRUE(waitUntil([&] { return player.queue().currentEntry() && player.queue().currentEntry()->title != chosen; }));
    EXPECT_EQ(player.queue().currentEntry()->title, view->model().itemTitle(last));
    EXPECT_EQ(player.queue().entries().size(), 1);
}

TEST_F(NavigatorWindowTest, MovingRightOrPressingAnAlreadySelectedPlayRowStartsTheEngineAheadAndTheRootListDoesNot)
{
    store(FakeMusicService::songs(3, QStringLiteral("s")));
    launch(800);
    click(list(0), 3); // Songs
    ASSERT_TRUE(waitUntil([&] { return showsContainer(ContainerKind::songs) && list(1)->model().count() == 5; }));
    EXPECT_EQ(engine.prepares, 0);

    // The list opens on its Play row: the first press of a double click on it starts the engine.
    CollectionListView *songs = list(1);
    ASSERT_EQ(songs->selectedRow(), 0);
    const QPoint play = songs->rowRect(0).center() + QPoint(20, 0);
    QTest::mousePress(songs->viewport(), Qt::LeftButton, {}, play);
    EXPECT_EQ(engine.prepares, 1);
    QTest::mouseRelease(songs->viewport(), Qt::LeftButton, {}, play);
    EXPECT_EQ(player.queue().currentEntry(), std::nullopt);

    // Back to the root list, then the arrow into the list, where Return would play its Play row.
    QTest::keyClick(songs, Qt::Key_Left);
    ASSERT_TRUE(waitUntil([&] { return main()._activePane() == 0; }));
    EXPECT_EQ(engine.prepares, 1);
    QTest::keyClick(list(0), Qt::Key_Right);
    ASSERT_TRUE(waitUntil([&] { return main()._activePane() == 1; }));
    EXPECT_EQ(engine.prepares, 2);
}

TEST_F(NavigatorWindowTest, KeysAndAScreenReaderSelectAndPlayTheRowsOfTheSongsList)
{
    store(FakeMusicService::songs(3, QStringLiteral("lib")));
    launch(800);
    main()._selectedContainerKindID.set(QStringLiteral("songs"));
    ASSERT_TRUE(waitUntil([&] { return list(1) && list(1)->model().count() == 5; }));
    CollectionListView *songs = list(1);
    QAccessibleInterface *rows = QAccessible::queryAccessibleInterface(songs);
    ASSERT_TRUE(rows);
    EXPECT_EQ(rows->role(), QAccessible::List);
    EXPECT_EQ(rows->text(QAccessible::Name), QStringLiteral("Songs"));
    EXPECT_EQ(QAccessible::queryAccessibleInterface(list(0))->text(QAccessible::Name), QStringLiteral("Library"));
    ASSERT_EQ(rows->childCount(), 5);
    EXPECT_EQ(rows->child(0)->text(QAccessible::Name), QStringLiteral("Play"));
    EXPECT_EQ(rows->child(1)->text(QAccessible::Name), QStringLiteral("Shuffle"));
    EXPECT_EQ(rows->child(2)->role(), QAccessible::ListItem);
    EXPECT_EQ(rows->child(2)->text(QAccessible::Name), songs->model().itemTitle(2));
    EXPECT_EQ(rows->indexOfChild(rows->child(4)), 4);
    EXPECT_TRUE(rows->child(0)->state().selected);

    songs->setFocus(Qt::TabFocusReason);
    QTest::keyClick(songs, Qt::Key_Down);
    QTest::keyClick(songs, Qt::Key_Down);
    EXPECT_EVENTUALLY_TRUE(rows->child(2)->state().selected);
    EXPECT_EVENTUALLY_EQ(main()._selectedTopLevelSongID(), songs->model().itemID(2));
    EXPECT_EQ(main()._activePane(), 1); // the keys went to the songs list, whose pane is now active
    EXPECT_FALSE(rows->child(0)->state().selected);
    EXPECT_TRUE(rows->child(2)->state().focused);
    EXPECT_EQ(rows->focusChild(), rows->child(2));
    const QRect onScreen = rows->child(2)->rect();
    EXPECT_EQ(rows->childAt(onScreen.center().x(), onScreen.center().y()), rows->child(2));

    // Return plays the selected song and the ones after it.
    QTest::keyClick(songs, Qt::Key_Return);
    ASSERT_TRUE(waitUntil([&] { return player.queue().currentEntry().has_value(); }));
    EXPECT_EQ(player.queue().currentEntry()->title, songs->model().itemTitle(2));
    EXPECT_EQ(player.queue().entries().size(), 3);

    // A screen reader's press on a row plays that row.
    QAccessibleActionInterface *actions = rows->child(3)->actionInterface();
    ASSERT_TRUE(actions);
    actions->doAction(QAccessibleActionInterface::pressAction());
    ASSERT_TRUE(waitUntil([&] { return player.queue().currentEntry()->title == songs->model().itemTitle(3); }));
}

TEST_F(NavigatorWindowTest, TheSongsListFollowsSyncsAsAnItemModelAndKeepsItsSelectedSong)
{
    store(FakeMusicService::songs(3, QStringLiteral("lib")));
    launch(800);
    main()._selectedContainerKindID.set(QStringLiteral("songs"));
    ASSERT_TRUE(waitUntil([&] { return list(1) && list(1)->model().count() == 5; }));
    CollectionListView *songs = list(1);
    CollectionListModel &rows = songs->model();
    // Checks the model's contract at every change; dies with the model.
    new QAbstractItemModelTester(&rows, QAbstractItemModelTester::FailureReportingMode::Fatal, &rows);
    const QSignalSpy resets(&rows, &QAbstractItemModel::modelReset);
    songs->setFocus(Qt::TabFocusReason);
    for (int i = 0; i < 3; ++i)
        QTest::keyClick(songs, Qt::Key_Down);
    settle();
    ASSERT_EQ(songs->selectedRow(), 3);
    const QString chosen = rows.itemID(3);

    // A sync brings two more songs: the rows are announced anew, and the chosen song stays
    // selected, in the view's selection model as for a screen reader.
    store(FakeMusicService::songs(5, QStringLiteral("lib")));
    main()._libraryVersion.set(main()._libraryVersion() + 1);
    ASSERT_TRUE(waitUntil([&] { return rows.count() == 7; }));
    settle();
    EXPECT_GE(resets.count(), 1);
    EXPECT_EQ(rows.rowCount(), 7);
    ASSERT_GE(songs->selectedRow(), 0);
    EXPECT_EQ(rows.itemID(songs->selectedRow()), chosen);
    EXPECT_EQ(songs->selectionModel()->selectedRows(), QModelIndexList{rows.index(songs->selectedRow(), 0)});
    QAccessibleInterface *accessible = QAccessible::queryAccessibleInterface(songs);
    EXPECT_EQ(accessible->childCount(), 7);
    EXPECT_TRUE(accessible->child(songs->selectedRow())->state().selected);

    // A sync that removes songs leaves a consistent, smaller list.
    store(FakeMusicService::songs(1, QStringLiteral("lib")));
    main()._libraryVersion.set(main()._libraryVersion() + 1);
    ASSERT_TRUE(waitUntil([&] { return rows.count() == 2; })); // Play and the one song
    settle();
    EXPECT_LT(songs->selectedRow(), 2);
    EXPECT_EQ(accessible->childCount(), 2);
    songs->grab();
}

TEST_F(NavigatorWindowTest, AClickMovesOnOnlyAtTheOnePaneWidth)
{
    storeAlbums({FakeMusicService::album(QStringLiteral("al1"), QStringLiteral("First"))});
    launch(400);
    click(list(0), 1); // Albums
    EXPECT_EVENTUALLY_EQ(main()._selectedContainerKindID(), QStringLiteral("albums"));
    EXPECT_EQ(main()._activePane(), 0);
    clock.advance(PaneController::moveOnDelay);
    EXPECT_EQ(main()._activePane(), 1);

    // Wider, the next pane shows anyway: a click moves nothing.
    main()._activePane.set(0);
    window->resize(401, 500);
    settle();
    click(list(0), 0);
    settle();
    clock.advance(1);
    EXPECT_EQ(main()._activePane(), 0);
    EXPECT_EQ(main()._selectedContainerKindID(), QStringLiteral("playlists"));
}

TEST_F(NavigatorWindowTest, SnapBackBringsBackThePlayingRowOfAnotherAlbum)
{
    storeAlbums({FakeMusicService::album(QStringLiteral("al1"), QStringLiteral("First")),
                 FakeMusicService::album(QStringLiteral("al2"), QStringLiteral("Second"))});
    service.albumTracks[MusicItemID(QStringLiteral("al1"))] = albumSongs(4, QStringLiteral("a"), QStringLiteral("First"));
    service.albumTracks[MusicItemID(QStringLiteral("al2"))] = albumSongs(2, QStringLiteral("b"), QStringLiteral("Second"));
    launch(1000);
    main()._selectedContainerKindID.set(QStringLiteral("albums"));
    ASSERT_TRUE(waitUntil([&] { return list(2) && list(2)->model().count() == 6; })); // al1: Play, Shuffle, 4
    CollectionListView *detail = list(2);
    click(detail, 4);
    settle();
    const QString playing = detail->model().itemID(4);
    detail->setFocus(Qt::TabFocusReason);
    QTest::keyClick(detail, Qt::Key_Enter);
    ASSERT_TRUE(waitUntil([&] { return main()._lastSavedSnapbackState().has_value() && player.queue().currentEntry(); }));

    // Browse away: another album in the albums pane.
    click(list(1), 1);
    ASSERT_TRUE(waitUntil([&] { return list(2) && list(2)->model().count() == 4; })); // al2: Play, Shuffle, 2

    window->action(QStringLiteral("snapBack"))->trigger();
    ASSERT_TRUE(waitUntil([&] { return list(2) && list(2)->model().count() == 6; }));
    ASSERT_TRUE(waitUntil([&] { return list(2)->selectedRow() == 4; }));
    EXPECT_EQ(main()._selectedDetailSongID(), playing);
    EXPECT_EQ(list(1)->selectedRow(), 0); // the first album again
}

TEST_F(NavigatorWindowTest, AListOutsideThePathFollowsNothing)
{
    // Playlists showing with a playlist published; the albums list was never loaded.
    storePlaylists({FakeMusicService::playlist(QStringLiteral("p1"), QStringLiteral("Mix"))});
    service.playlistTracks[MusicItemID(QStringLiteral("p1"))] = FakeMusicService::songs(2, QStringLiteral("p"));
    storeAlbums({FakeMusicService::album(QStringLiteral("al1"), QStringLiteral("First"))});
    launch(1000);
    const NavigationItem mix = NavigationItem::songCollection(QStringLiteral("p1"), QStringLiteral("Mix"));
    ASSERT_TRUE(waitUntil([&] { return main()._navigationPath().size() == 3; }));
    ASSERT_EQ(main()._navigationPath().last(), mix);

    // Playing an album from elsewhere (as search does) loads the albums list and selects its first
    // album; the detail pane stays the playlist's.
    finish(app->albumsViewModel().play(QStringLiteral("al1"), false));
    EXPECT_EQ(main()._selectedAlbumID(), QStringLiteral("al1"));
    settle();
    clock.advance(1);
    settle();
    EXPECT_EQ(main()._navigationPath().last(), mix);
    EXPECT_EQ(panes()->displayedNavigationPath().last(), mix);
}

TEST_F(NavigatorWindowTest, PanesTakeTheWidthBandsAndPaintInALightAndADarkPalette)
{
    storeAlbums({FakeMusicService::album(QStringLiteral("al1"), QStringLiteral("A rather long album title that wraps"))});
    service.albumTracks[MusicItemID(QStringLiteral("al1"))] = FakeMusicService::songs(12, QStringLiteral("t"));
    launch(1000);
    main()._selectedContainerKindID.set(QStringLiteral("albums"));
    ASSERT_TRUE(waitUntil([&] { return list(2) && list(2)->model().count() == 14; }));
    main()._activePane.set(2);
    ASSERT_TRUE(waitUntil([&] { return panes()->view()->rect().contains(list(2)->geometry().center()); }));
    const QString folder = qEnvironmentVariable("LUMEVAR_UI_SCREENSHOT_DIR");
    const QPalette light = window->palette();
    for (const int width : {400, 700, 1000}) {
        window->resize(width, 560);
        settle();
        const int stripWidth = panes()->view()->width();
        // Panes on screen: one up to 400 points, two up to 800, three above.
        int shown = 0;
        for (int pane = 0; pane < 3; ++pane)
            shown += panes()->view()->rect().intersects(list(pane)->geometry()) ? 1 : 0;
        EXPECT_EQ(shown, stripWidth <= 400 ? 1 : stripWidth <= 800 ? 2 : 3) << width;
        // The active (detail) pane is always among them.
        EXPECT_TRUE(panes()->view()->rect().contains(list(2)->geometry().center())) << width;
        for (const bool dark : {false, true}) {
            window->setPalette(dark ? darkPalette() : light);
            settle();
            const QImage image = window->grab().toImage();
            const QPoint below = list(2)->mapTo(window.get(), QPoint(2, list(2)->height() - 4));
            const QColor background = image.pixelColor(below * image.devicePixelRatio());
            EXPECT_EQ(background.lightnessF() < 0.5, dark) << width << (dark ? " dark" : " light");
            if (!folder.isEmpty())
                image.save(QStringLiteral("%1/navigator-%2-%3.png").arg(folder).arg(width).arg(dark ? u"dark" : u"light"));
        }
    }
    window->setPalette(light);
}
