// The library models: throttled syncs, the artists' asymmetry, sort keys and their fall-backs,
// the song rows, and the recommendation models.

#include "ModelTestFixture.h"

#include "Lumevar/Library/CollectionViewModel.h"
#include "Lumevar/Library/RecommendationViewModels.h"
#include "Lumevar/Library/SongListViewModels.h"
#include "Lumevar/Navigator/CollectionListModel.h"
#include "LumevarCore/SyncEngine.h"
#include "Support/UserDefaults.h"
#include "TestKit/AsyncTest.h"
#include "TestKit/Lists.h"

#include <QCoreApplication>

using Op = FakeMusicService::Operation;

class LibraryModelsTest : public ModelTest {
protected:
    UserDefaults &defaults = UserDefaults::standard();

    void storeArtists(const QList<Artist> &artists)
    {
        const qint64 generation = runTask(database->beginSync(LocalDatabase::LibraryKind::artists));
        runTask(database->storeArtists(artists, generation));
        runTask(database->finishSync(LocalDatabase::LibraryKind::artists, generation));
    }
    void storeAlbums(const QList<Album> &albums)
    {
        const qint64 generation = runTask(database->beginSync(LocalDatabase::LibraryKind::albums));
        runTask(database->storeAlbums(albums, generation));
        runTask(database->finishSync(LocalDatabase::LibraryKind::albums, generation));
    }
};

TEST_F(LibraryModelsTest, ListSyncRunsOnlyWhenADayHasPassedAndStampsOnlySuccess)
{
    DetailSongsViewModel detail(*model);
    PlaylistsViewModel playlists(*model, detail);
    service.library.playlists = {FakeMusicService::playlist(QStringLiteral("p1"), QStringLiteral("One"))};
    const QString key = QStringLiteral("lastPlaylistSync");

    // A stamp in the future counts as recent.
    defaults.set(key, clock.now() + 1000);
    finish(playlists.load(true));
    EXPECT_EQ(service.callCount(Op::libraryPlaylists), 0);

    // Exactly a day old counts as old: the sync runs and the stamp moves to now.
    defaults.set(key, clock.now() - 86400.0);
    const double started = clock.now();
    finish(playlists.load(true));
    EXPECT_GT(service.callCount(Op::libraryPlaylists), 0);
    EXPECT_GE(defaults.doubleValue(key), started);

    // A failed sync leaves the stamp and reports.
    const double stamp = clock.now() - 90000.0;
    defaults.set(key, stamp);
    service.fail(Op::libraryPlaylists, MusicError(MusicError::serviceFailed, QStringLiteral("down")), -1);
    finish(playlists.load(true));
    EXPECT_EQ(defaults.doubleValue(key), stamp);
    ASSERT_FALSE(telemetry.errors.isEmpty());
    EXPECT_EQ(telemetry.errors.last().name, QStringLiteral("error_load_playlists"));

    // Just under a day: still recent. No virtual time passes meanwhile: each store answer takes a
    // turn of the event loop, and a loaded machine's turns would add up to the missing second.
    service.clearFailure(Op::libraryPlaylists);
    service.resetCallCounts();
    defaults.set(key, clock.now() - 86399.0);
    finish(playlists.load(true), 0.0);
    EXPECT_EQ(service.callCount(Op::libraryPlaylists), 0);
}

TEST_F(LibraryModelsTest, ArtistsKeepThePreviousSongsWhereAlbumsClear)
{
    storeArtists({FakeMusicService::artist(QStringLiteral("ar1"), QStringLiteral("Alpha")),
                  FakeMusicService::artist(QStringLiteral("ar2"), QStringLiteral("Beta"))});
    storeAlbums({FakeMusicService::album(QStringLiteral("al1"), QStringLiteral("Alpha")),
                 FakeMusicService::album(QStringLiteral("al2"), QStringLiteral("Beta"))});
    DetailSongsViewModel detail(*model);
    ArtistsViewModel artists(*model, detail);
    AlbumsViewModel albums(*model, detail);
    finish(artists.load(false));
    finish(albums.load(false));
    ASSERT_EQ(artists._items().size(), 2);
    ASSERT_EQ(albums._items().size(), 2);
    EXPECT_EQ(model->_selectedArtistID(), artists._items()[0].identifier);
    const LocalArtist alpha = artists._items()[0];
    const LocalAlbum alphaAlbum = albums._items()[0];

    // Only the first of each has stored songs; every track stamp is recent.
    // The store finds an artist's songs by artist name and an album's by album title.
    QList<Song> artistSongs = FakeMusicService::songs(2, QStringLiteral("x"));
    for (Song &song : artistSongs)
        song.artistName = QStringLiteral("Alpha");
    QList<Song> albumSongs = FakeMusicService::songs(3, QStringLiteral("y"));
    for (Song &song : albumSongs)
        song.albumTitle = QStringLiteral("Alpha");
    runTask(database->storeCollectionSongs(alpha, artistSongs));
    runTask(database->storeCollectionSongs(alphaAlbum, albumSongs));
    for (const QString &id : {artists._items()[0].id, artists._items()[1].id})
        defaults.set(ArtistsViewModel::trackSyncKey(id), clock.now());
    for (const QString &id : {albums._items()[0].id, albums._items()[1].id})
        defaults.set(AlbumsViewModel::trackSyncKey(id), clock.now());

    finish(artists.loadSelectedSongs());
    EXPECT_EQ(artists.selectedSongs.size(), 2);
    model->_selectedArtistID.set(artists._items()[1].id);
    finish(artists.loadSelectedSongs());
    EXPECT_EQ(artists.selectedSongs.size(), 2); // the previous artist's songs stay ...
    EXPECT_EQ(model->_detailSongs().size(), 2);
    EXPECT_EQ(model->_navigationPath().last(), NavigationItem::songCollection(artists._items()[1].id, QStringLiteral("Beta")));

    model->_selectedAlbumID.set(albums._items()[0].id);
    finish(albums.loadSelectedSongs());
    EXPECT_EQ(albums.selectedSongs.size(), 3);
    model->_selectedAlbumID.set(albums._items()[1].id);
    finish(albums.loadSelectedSongs());
    EXPECT_TRUE(albums.selectedSongs.isEmpty()); // ... an album without stored songs shows none
    EXPECT_TRUE(model->_detailSongs().isEmpty());
    EXPECT_EQ(service.callCount(Op::albumTracks) + service.callCount(Op::artistTracks), 0);
}

namespace {

Song filedSong(const char *id, const char *title, const char *artist, const char *album, const char *albumArtist = nullptr)
{
    Song song = FakeMusicService::song(QString::fromUtf8(id), QString::fromUtf8(title), QString::fromUtf8(artist));
    song.albumTitle = QString::fromUtf8(album);
    if (albumArtist)
        song.albumArtistName = QString::fromUtf8(albumArtist);
    return song;
}

QStringList songIDs(const QList<LocalSong> &songs) { return textsOf(songs, &LocalSong::identifier); }

} // namespace

// Selecting an artist or an album syncs its tracks. Neither may take a song out of the library
// that the library still lists, and an album never shows a same-named album's songs.
TEST_F(LibraryModelsTest, CollectionTrackSyncsKeepLibrarySongsAndAlbumsKeepToTheirArtist)
{
    const Song smooth = filedSong("smooth", "Smooth", "Santana feat. Rob Thomas", "Supernatural", "Santana");
    const Song maria = filedSong("maria", "Maria Maria", "Santana", "Supernatural");
    const Song waterloo = filedSong("waterloo", "Waterloo", "ABBA", "Greatest Hits");
    const Song rockYou = filedSong("rock", "We Will Rock You", "Queen", "Greatest Hits");
    const Song opener = filedSong("opener", "Opener", "Singer C", "Mixtape", "Various Artists");
    const Song closer = filedSong("closer", "Closer", "Band A", "Mixtape", "Various Artists");
    // Queen's song is not in the store yet: its album has no stored songs.
    service.library.songs = {smooth, maria, waterloo, opener, closer};
    service.library.artists = {FakeMusicService::artist(QStringLiteral("santana"), QStringLiteral("Santana")),
                               FakeMusicService::artist(QStringLiteral("abba"), QStringLiteral("ABBA"))};
    service.library.albums = {FakeMusicService::album(QStringLiteral("queen"), QStringLiteral("Greatest Hits"), QStringLiteral("Queen")),
                              FakeMusicService::album(QStringLiteral("abba-hits"), QStringLiteral("Greatest Hits"), QStringLiteral("ABBA")),
                              FakeMusicService::album(QStringLiteral("mix"), QStringLiteral("Mixtape"), QStringLiteral("Various Artists"))};
    runTask(SyncEngine(*database, service).syncAll(nullptr));
    // A service that files an artist's songs by track artist alone, and Queen's album with a song
    // the library lists only later.
    service.artistTracks.insert(MusicItemID(QStringLiteral("santana")), {maria});
    service.albumTracks.insert(MusicItemID(QStringLiteral("queen")), {rockYou});

    DetailSongsViewModel detail(*model);
    ArtistsViewModel artists(*model, detail);
    AlbumsViewModel albums(*model, detail);
    finish(artists.load(false));
    finish(albums.load(false));
    const auto stillInLibrary = [this](const Song &song) {
        EXPECT_TRUE(runTask(database->hasSong(song.title, song.artistName, song.albumTitle))) << song.title.toStdString();
        const QList<LocalSong> all = runTask(database->allLibrarySongs({LocalSong::SortKey::title}));
        EXPECT_TRUE(songIDs(all).contains(song.id.rawValue())) << song.title.toStdString();
    };

    // Santana's songs are theirs as artist and as album artist, before and after the sync.
    model->_selectedArtistID.set(QStringLiteral("santana"));
    finish(artists.loadSelectedSongs());
    EXPECT_EQ(service.callCount(Op::artistTracks), 1);
    EXPECT_EQ(songIDs(model->_detailSongs()), (QStringList{QStringLiteral("maria"), QStringLiteral("smooth")}));
    stillInLibrary(smooth);
    EXPECT_FALSE(runTask(database->search(QStringLiteral("smooth"))).isEmpty());

    // Queen's "Greatest Hits" has no stored songs: with a recent track sync it shows none, not ABBA's.
    const QString queenKey = AlbumsViewModel::trackSyncKey(QStringLiteral("queen"));
    defaults.set(queenKey, clock.now());
    model->_selectedAlbumID.set(QStringLiteral("queen"));
    finish(albums.loadSelectedSongs());
    EXPECT_TRUE(model->_detailSongs().isEmpty());
    // Its track sync brings Queen's song and leaves ABBA's alone.
    defaults.removeObject(queenKey);
    finish(albums.loadSelectedSongs());
    EXPECT_EQ(songIDs(model->_detailSongs()), QStringList{QStringLiteral("rock")});
    stillInLibrary(waterloo);
    model->_selectedAlbumID.set(QStringLiteral("abba-hits"));
    finish(albums.loadSelectedSongs());
    EXPECT_EQ(songIDs(model->_detailSongs()), QStringList{QStringLiteral("waterloo")});

    // A compilation holds its songs by album artist, in the same order before and after its sync.
    const QString mixKey = AlbumsViewModel::trackSyncKey(QStringLiteral("mix"));
    defaults.set(mixKey, clock.now());
    model->_selectedAlbumID.set(QStringLiteral("mix"));
    finish(albums.loadSelectedSongs());
    const QStringList stored = songIDs(model->_detailSongs());
    EXPECT_EQ(stored, (QStringList{QStringLiteral("closer"), QStringLiteral("opener")}));
    defaults.removeObject(mixKey);
    finish(albums.loadSelectedSongs());
    EXPECT_EQ(songIDs(model->_detailSongs()), stored);
    stillInLibrary(opener);
}

TEST_F(LibraryModelsTest, ACancelledSelectedLoadStillShowsItsStoreReadAndStopsBeforeTheSync)
{
    service.library.songs = FakeMusicService::songs(3, QStringLiteral("x"));
    service.library.artists = {FakeMusicService::artist(QStringLiteral("artist"), QStringLiteral("Artist"))};
    runTask(SyncEngine(*database, service).syncAll(nullptr));
    DetailSongsViewModel detail(*model);
    ArtistsViewModel artists(*model, detail);
    finish(artists.load(false));
    ASSERT_EQ(model->_selectedArtistID(), QStringLiteral("artist"));

    // Cancelled while the store read is under way (behind a long write): the read lands, the
    // sync never starts.
    QList<Song> busy = FakeMusicService::songs(300, QStringLiteral("busy"));
    for (Song &song : busy)
        song.artistName = QStringLiteral("Someone Else");
    const auto written = launch(database->addLibrarySongs(busy));
    TaskHandle handle;
    const auto done = launch(artists.loadSelectedSongs(handle.token()));
    ASSERT_FALSE(*done);
    handle.cancel();
    ASSERT_TRUE(waitUntil([&] { return *done; }));
    EXPECT_EQ(artists.selectedSongs.size(), 3);
    EXPECT_EQ(model->_detailSongs().size(), 3);
    EXPECT_EQ(service.callCount(Op::artistTracks), 0);
    EXPECT_FALSE(defaults.object(ArtistsViewModel::trackSyncKey(QStringLiteral("artist"))).isValid());
}

TEST_F(LibraryModelsTest, AnAlbumsTrackSyncThatEndsAfterTheUserWentOnToSongsAddsNoPane)
{
    storeAlbums({FakeMusicService::album(QStringLiteral("al1"), QStringLiteral("Album"))});
    service.albumTracks.insert(MusicItemID(QStringLiteral("al1")), FakeMusicService::songs(4, QStringLiteral("t")));
    service.latency = 1;
    DetailSongsViewModel detail(*model);
    AlbumsViewModel albums(*model, detail);
    const QList<NavigationItem> onAlbums = {NavigationItem::root(), NavigationItem::container(ContainerKind::albums)};
    model->_navigationPath.set(onAlbums);

    // The first album is selected and its track sync waits on the server; meanwhile Songs is chosen.
    finish(albums.load(false));
    const auto synced = launch(albums.loadSelectedSongs());
    ASSERT_TRUE(waitUntil([&] { return service.callCount(Op::albumTracks) == 1; }));
    model->_navigationPath.set({NavigationItem::root(), NavigationItem::container(ContainerKind::songs)});
    ASSERT_TRUE(advanceUntil([&] { return *synced; }, "the track sync"));
    EXPECT_EQ(albums.selectedSongs.size(), 4);
    EXPECT_EQ(model->_navigationPath().size(), 2);

    // Back on Albums, the album's pane shows what the sync brought.
    model->_navigationPath.set(onAlbums);
    finish(albums.load(false));
    ASSERT_EQ(model->_navigationPath().size(), 3);
    EXPECT_EQ(model->_detailSongs().size(), 4);
}

TEST_F(LibraryModelsTest, SelectedTrackSyncStampsAfterSuccessOnly)
{
    storeAlbums({FakeMusicService::album(QStringLiteral("al1"), QStringLiteral("Album"))});
    service.albumTracks.insert(MusicItemID(QStringLiteral("al1")), FakeMusicService::songs(4, QStringLiteral("t")));
    DetailSongsViewModel detail(*model);
    AlbumsViewModel albums(*model, detail);
    finish(albums.load(false));
    ASSERT_EQ(albums._items().size(), 1);
    const QString key = AlbumsViewModel::trackSyncKey(albums._items()[0].id);

    service.fail(Op::albumTracks, MusicError(MusicError::serviceFailed, QStringLiteral("down")));
    finish(albums.loadSelectedSongs());
    EXPECT_FALSE(defaults.object(key).isValid());
    EXPECT_EQ(telemetry.errors.last().name, QStringLiteral("error_load_selected_album"));

    finish(albums.loadSelectedSongs());
    EXPECT_TRUE(defaults.object(key).isValid());
    EXPECT_EQ(albums.selectedSongs.size(), 4);
    EXPECT_EQ(model->_detailSongs().size(), 4);

    // Playing by id on the loaded list: the recent stamp means no further sync.
    service.resetCallCounts();
    finish(albums.play(albums._items()[0].id, false));
    EXPECT_EQ(service.callCount(Op::albumTracks), 0);
    EXPECT_EQ(player.queue().entries().size(), 4);

    // An id not in the list is refused.
    EXPECT_THROW(runTask(albums.songs(QStringLiteral("nope"))), PlaybackError);
}

TEST_F(LibraryModelsTest, SortKeysFallBackAsStored)
{
    DetailSongsViewModel detail(*model);
    TopLevelSongsViewModel songs(*model);
    AlbumsViewModel albums(*model, detail);
    ArtistsViewModel artists(*model, detail);
    PlaylistsViewModel playlists(*model, detail);

    EXPECT_EQ(songs.sortOrder(), SongSortOrder::album); // absent reads as 0
    EXPECT_EQ(songs.sortDirection(), MusicSortDirection::ascending);
    defaults.set(QStringLiteral("sortSongsBy"), 2);
    EXPECT_EQ(songs.sortDescriptor().key, LocalSong::SortKey::order); // date added sorts on order
    // A value this build does not know (from a newer one, or edited by hand) falls back.
    defaults.set(QStringLiteral("sortSongsBy"), -1);
    EXPECT_EQ(songs.sortOrder(), SongSortOrder::title);
    defaults.set(QStringLiteral("sortAlbumsBy"), 5);
    EXPECT_EQ(albums.sortOrder(), AlbumSortOrder::title);
    defaults.set(QStringLiteral("sortArtistsBy"), 2);
    EXPECT_EQ(artists.sortOrder(), ArtistsSortOrder::name);
    defaults.set(QStringLiteral("sortPlaylistsBy"), 9);
    EXPECT_EQ(playlists.sortOrder(), PlaylistSortOrder::title);
    defaults.set(QStringLiteral("sortAlbumsDirection"), 1);
    EXPECT_EQ(albums.sortDescriptor().order, SortOrder::reverse);
    defaults.set(QStringLiteral("sortAlbumsDirection"), 2);
    EXPECT_EQ(albums.sortDirection(), MusicSortDirection::ascending);

    // A change stores the raw value and reloads without any sync, however old the stamp.
    songs.setSortDirection(MusicSortDirection::descending);
    EXPECT_EQ(defaults.integerValue(QStringLiteral("sortSongsDirection")), 1);
    ASSERT_TRUE(waitUntil([this] { return model->_selectedTopLevelSongID().has_value(); }));
    EXPECT_EQ(model->_selectedTopLevelSongID(), SongSelection::playID);
    EXPECT_EQ(service.callCount(Op::librarySongs), 0);
    EXPECT_FALSE(defaults.object(TopLevelSongsViewModel::songSyncKey).isValid());
}

TEST_F(LibraryModelsTest, SongRowsAndTopLevelSongSync)
{
    // The rows a song list shows: none for no songs, Play, Shuffle from two songs on, the songs.
    SongRowsModel rows{[](TableCellContent &, const LocalSong &, ConfigurationType) {}};
    EXPECT_EQ(rows.count(), 0);
    rows.setSongs(localSongs(1));
    ASSERT_EQ(rows.count(), 2); // Play and the song, no Shuffle
    EXPECT_EQ(rows.itemID(0), SongSelection::playID);
    rows.setSongs(localSongs(2));
    EXPECT_EQ(rows.itemID(1), SongSelection::shuffleID);

    service.library.songs = FakeMusicService::songs(3, QStringLiteral("lib"));
    TopLevelSongsViewModel songs(*model);
    finish(songs.loadSongs(true)); // no stamp yet: the sync runs, the list is not reloaded after it
    EXPECT_GT(service.callCount(Op::librarySongs), 0);
    EXPECT_TRUE(model->_topLevelSongs().isEmpty());
    EXPECT_TRUE(UserDefaults::standard().object(TopLevelSongsViewModel::songSyncKey).isValid());
    finish(songs.loadSongs(true));
    EXPECT_EQ(model->_topLevelSongs().size(), 3);

    // Playing from an empty list loads it first.
    model->_topLevelSongs.set({});
    finish(songs.playSelection(QStringLiteral("lib1")));
    EXPECT_EQ(player.queue().entries().size(), 2);
}

TEST_F(LibraryModelsTest, RecommendationsKeepTheirGroupAndPlayTheItem)
{
    const Album album = FakeMusicService::album(QStringLiteral("mfy1"), QStringLiteral("Morning Mix"));
    const Playlist playlist = FakeMusicService::playlist(QStringLiteral("mfy2"), QStringLiteral("Evening Mix"));
    const Station station = FakeMusicService::station(QStringLiteral("st1"), QStringLiteral("Jazz Radio"));
    service.albumTracks.insert(album.id, FakeMusicService::songs(3, QStringLiteral("m")));
    using Item = MusicPersonalRecommendation::Item;
    const auto group = [](const QString &id, std::optional<QString> title, Item item) {
        MusicPersonalRecommendation recommendation;
        recommendation.id = MusicItemID(id);
        recommendation.title = std::move(title);
        recommendation.items = QList<Item>{std::move(item)};
        return recommendation;
    };
    service.recommendations = {
        group(QStringLiteral("g1"), QStringLiteral("Made for You"), Item{album}),
        group(QStringLiteral("g2"), QStringLiteral("Stations for You"), Item{station}),
        group(QStringLiteral("g3"), std::nullopt, Item{playlist}),
        group(QStringLiteral("g4"), QStringLiteral("Made for You"), Item{playlist}),
    };
    DetailSongsViewModel detail(*model);
    MadeForYouViewModel madeForYou(*model, detail);
    StationsViewModel stations(*model, detail);
    finish(madeForYou.loadMadeForYou());
    finish(stations.loadStations());
    EXPECT_EQ(madeForYou.madeForYou()().size(), 2);
    ASSERT_EQ(madeForYou.madeForYouItems()().size(), 2);
    EXPECT_EQ(model->_selectedMadeForYouID(), album.id);
    EXPECT_EQ(stations.stations()().size(), 1);
    ASSERT_EQ(stations.stationItems()().size(), 1);
    EXPECT_EQ(model->_selectedStationID(), station.id);

    EXPECT_TRUE(madeForYou.searchSections(QStringLiteral("  \n")).isEmpty());
    EXPECT_TRUE(madeForYou.searchSections(QStringLiteral("radio")).isEmpty());
    const QList<SearchSection> sections = madeForYou.searchSections(QStringLiteral(" mix "));
    ASSERT_EQ(sections.size(), 1);
    EXPECT_EQ(sections[0].name, QStringLiteral("Made for You"));
    EXPECT_EQ(sections[0].results.size(), 2);
    EXPECT_EQ(stations.searchSections(QStringLiteral("JAZZ"))[0].results[0].kind(), SearchResult::Kind::station);

    finish(madeForYou.play(album.id, true));
    EXPECT_FALSE(model->_isStopped());
    EXPECT_EQ(player.state().shuffleMode(), MusicShuffleMode::songs);
    EXPECT_EQ(player.queue().entries().size(), 3);
    EXPECT_FALSE(model->_showPlayError());

    // An id the list no longer holds does nothing; a failing item raises the alert.
    finish(madeForYou.play(MusicItemID(QStringLiteral("gone")), false));
    EXPECT_FALSE(model->_showPlayError());
    finish(madeForYou.play(playlist.id, false)); // no tracks known for it: the player fails
    EXPECT_TRUE(model->_showPlayError());
    EXPECT_EQ(telemetry.errors.last().name, QStringLiteral("error_play_made_for_you"));
    EXPECT_FALSE(player.state().shuffleMode().has_value());

    // A failed refresh keeps the last list.
    service.fail(Op::personalRecommendations, MusicError(MusicError::serviceFailed, QStringLiteral("down")));
    finish(madeForYou.loadMadeForYou());
    EXPECT_EQ(madeForYou.madeForYouItems()().size(), 2);
    EXPECT_EQ(telemetry.errors.last().name, QStringLiteral("error_load_made_for_you"));
}

TEST_F(LibraryModelsTest, SelectionChangesReloadOnceAndPlaySelectedWaitsForTheLoad)
{
    storeAlbums({FakeMusicService::album(QStringLiteral("al1"), QStringLiteral("Album")),
                 FakeMusicService::album(QStringLiteral("al2"), QStringLiteral("Other"))});
    // Both albums synced their songs just now: every load reads the store alone, so the loads
    // this test counts do not race a remote refresh.
    for (const char *id : {"al1", "al2"})
        defaults.set(AlbumsViewModel::trackSyncKey(QString::fromLatin1(id)), clock.now());
    DetailSongsViewModel detail(*model);
    AlbumsViewModel albums(*model, detail);
    const ObservationTrackingToken token = albums.observeSelection();
    finish(albums.load(false)); // selects the first album; the observer starts its load
    ASSERT_TRUE(waitUntil([&albums] { return albums.tasks.size() == 1; }));
    const QString first = albums._items()[0].id;

    // The same id again is no change: no new load.
    model->_selectedAlbumID.set(first);
    QCoreApplication::processEvents();
    EXPECT_EQ(albums.tasks.size(), 1);

    // A new id replaces the load under way with exactly one new load.
    model->_selectedAlbumID.set(albums._items()[1].id);
    ASSERT_TRUE(waitUntil([&albums] { return albums.tasks.size() == 1 && !albums.tasks[0].handle.isCancelled(); }));

    // Playing the selection waits for that load, then plays from the Play row; the play itself
    // runs on as its own task and ends on the second album.
    finish(albums.playSelected());
    EXPECT_EQ(model->_selectedDetailSongID(), SongSelection::playID);
    const NavigationItem second = NavigationItem::songCollection(albums._items()[1].id, QStringLiteral("Other"));
    EXPECT_TRUE(waitUntil([this, &second] { return model->_navigationPath().last() == second; }));
}
