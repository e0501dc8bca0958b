#include "StoreTestSupport.h"

#include "LumevarCore/StoreWrites.h"
#include "LumevarCore/SyncEngine.h"
#include "Support/Error.h"
#include "Support/Log.h"
#include "Support/Progress.h"

#include <QFile>

void StoreTest::syncAll()
{
    Progress progress;
    runTask(SyncEngine(*database, service).syncAll(&progress));
    EXPECT_EQ(progress.completedUnitCount(), 100);
}

namespace {

QStringList resultNames(const SearchSection &section) { return textsOf(section.results, &SearchResult::name); }

const SearchSection *section(const QList<SearchSection> &sections, const char *name)
{
    for (const SearchSection &s : sections)
        if (s.name == QLatin1String(name))
            return &s;
    return nullptr;
}

} // namespace

TEST_F(StoreTest, SongOrdersCompareTextAsPeopleReadItAndPutAbsentValuesFirst)
{
    Song noArtist = makeSong("5", "Zebra", std::nullopt, "B side", 50);
    Song tenth = makeSong("1", "Track 10", "beta", "Album 10", 300);
    Song second = makeSong("2", "track 2", "Alpha", "Album 2", 100);
    Song accent = makeSong("3", "Éclair", "Émile", std::nullopt, 200);
    Song plain = makeSong("4", "apple", "zed", "album 1", 400);
    tenth.releaseDate = QDateTime::fromMSecsSinceEpoch(2000);
    second.releaseDate = QDateTime::fromMSecsSinceEpoch(1000);
    service.library.songs = {noArtist, tenth, second, accent, plain};
    syncAll();

    auto sorted = [&](LocalSong::SortKey key, SortOrder order = SortOrder::forward) {
        return titles(runTask(database->allLibrarySongs({key, order})));
    };
    EXPECT_EQ(sorted(LocalSong::SortKey::title), (QStringList{"apple", "Éclair", "track 2", "Track 10", "Zebra"}));
    EXPECT_EQ(sorted(LocalSong::SortKey::title, SortOrder::reverse), (QStringList{"Zebra", "Track 10", "track 2", "Éclair", "apple"}));
    EXPECT_EQ(sorted(LocalSong::SortKey::artistName), (QStringList{"Zebra", "track 2", "Track 10", "Éclair", "apple"}));
    EXPECT_EQ(sorted(LocalSong::SortKey::artistName, SortOrder::reverse), (QStringList{"apple", "Éclair", "Track 10", "track 2", "Zebra"}));
    EXPECT_EQ(sorted(LocalSong::SortKey::albumTitle), (QStringList{"Éclair", "apple", "track 2", "Track 10", "Zebra"}));
    EXPECT_EQ(sorted(LocalSong::SortKey::duration), (QStringList{"Zebra", "track 2", "Éclair", "Track 10", "apple"}));
    // Three songs have no release date; among equals the library order decides.
    EXPECT_EQ(sorted(LocalSong::SortKey::releaseDate), (QStringList{"Zebra", "Éclair", "apple", "track 2", "Track 10"}));
    EXPECT_EQ(sorted(LocalSong::SortKey::releaseDate, SortOrder::reverse).first(2), (QStringList{"Track 10", "track 2"}));
    EXPECT_EQ(sorted(LocalSong::SortKey::order), (QStringList{"Zebra", "Track 10", "track 2", "Éclair", "apple"}));

    const QList<LocalSong> songs = runTask(database->allLibrarySongs({LocalSong::SortKey::order}));
    EXPECT_EQ(songs[2].order, 2);
    EXPECT_EQ(songs[2].identifier, songs[2].id.rawValue());
    EXPECT_EQ(songs[0].artistName, std::nullopt);
    ASSERT_TRUE(songs[0].playParameters);
    EXPECT_EQ(songs[0].playParameters->id.rawValue(), QStringLiteral("5"));
}

TEST_F(StoreTest, CollectionListsSortAndCarryDistinctThumbnailKeys)
{
    Album a = FakeMusicService::album("a1", "Disc 9", "Zed");
    Album b = FakeMusicService::album("a2", "disc 10");
    b.artistName.reset();
    Album c = FakeMusicService::album("a3", "Ça va", "Alpha");
    c.libraryAddedDate = QDateTime::fromMSecsSinceEpoch(5);
    service.library.albums = {a, b, c};
    service.library.artists = {FakeMusicService::artist("x", "the 2 Bears"), FakeMusicService::artist("y", "The 10 Bears")};
    service.library.playlists = {FakeMusicService::playlist("x", "Mix 3"), FakeMusicService::playlist("p2", "mix 20")};
    syncAll();

    EXPECT_EQ(textsOf(runTask(database->allAlbums({LocalAlbum::SortKey::title})), &LocalAlbum::title),
              (QStringList{"Ça va", "Disc 9", "disc 10"}));
    EXPECT_EQ(textsOf(runTask(database->allAlbums({LocalAlbum::SortKey::artistName, SortOrder::reverse})), &LocalAlbum::title),
              (QStringList{"Disc 9", "Ça va", "disc 10"}));
    EXPECT_EQ(runTask(database->allAlbums({LocalAlbum::SortKey::dateAdded})).last().title, QStringLiteral("Ça va"));

    const QList<LocalArtist> artists = runTask(database->allArtists({LocalArtist::SortKey::name}));
    ASSERT_EQ(artists.size(), 2);
    EXPECT_EQ(artists[0].name, QStringLiteral("the 2 Bears"));
    const QList<LocalPlaylist> playlists = runTask(database->allPlaylists({LocalPlaylist::SortKey::name, SortOrder::reverse}));
    ASSERT_EQ(playlists.size(), 2);
    EXPECT_EQ(playlists[0].name, QStringLiteral("mix 20"));
    // An artist and a playlist share the id "x"; their thumbnails must not.
    EXPECT_NE(artists[0].thumbnailID, playlists[1].thumbnailID);
}

TEST_F(StoreTest, SearchMatchesWordPrefixesIgnoringCaseAndAccentsInFixedSectionOrder)
{
    service.library.artists = {FakeMusicService::artist("r1", "Beach Bunny"), FakeMusicService::artist("r2", "Beyoncé")};
    service.library.albums = {FakeMusicService::album("a1", "Honeymoon", "Beach Bunny")};
    service.library.songs = {makeSong("s1", "Summer Days", "Beach Bunny", "Honeymoon"),
                             makeSong("s2", "Café del Mar", "Energy 52", "Café"),
                             makeSong("s3", "Sunday", "Other", "X")};
    service.library.playlists = {FakeMusicService::playlist("p1", "Beach party")};
    syncAll();

    const auto bea = runTask(database->search(QStringLiteral("bea")));
    EXPECT_EQ(textsOf(bea, &SearchSection::name), (QStringList{"Artists", "Albums", "Songs", "Playlists"}));
    EXPECT_EQ(resultNames(*section(bea, "Artists")), QStringList{"Beach Bunny"});

    // A word inside the name, without its accent and in another case.
    const auto cafe = runTask(database->search(QStringLiteral("  MAR cafe ")));
    ASSERT_TRUE(section(cafe, "Songs"));
    EXPECT_EQ(resultNames(*section(cafe, "Songs")), QStringList{"Café del Mar"});
    EXPECT_FALSE(section(cafe, "Artists"));

    // Every word must match, across title and artist.
    const auto both = runTask(database->search(QStringLiteral("bunny su")));
    ASSERT_TRUE(section(both, "Songs"));
    EXPECT_EQ(resultNames(*section(both, "Songs")), QStringList{"Summer Days"});
    EXPECT_TRUE(runTask(database->search(QStringLiteral("bunny sunday"))).isEmpty());

    // One or two letters match the start of names.
    const auto be = runTask(database->search(QStringLiteral("BÉ")));
    EXPECT_EQ(resultNames(*section(be, "Artists")), (QStringList{"Beach Bunny", "Beyoncé"}));
    EXPECT_EQ(resultNames(*section(runTask(database->search(QStringLiteral("su"))), "Songs")), (QStringList{"Summer Days", "Sunday"}));

    EXPECT_TRUE(runTask(database->search(QString())).isEmpty());
    EXPECT_TRUE(runTask(database->search(QStringLiteral(" \t "))).isEmpty());
    // Query syntax in the text is searched for, never interpreted.
    EXPECT_NO_THROW(runTask(database->search(QStringLiteral("\" ) ( * AND"))));
}

TEST_F(StoreTest, SearchRanksNamesThatStartWithTheQueryFirstThenTitleArtistAndAlbumMatches)
{
    service.library.songs = {makeSong("s1", "Calm", "Someone", "Ocean Album"), makeSong("s2", "Blue", "Ocean Band", "X"),
                             makeSong("s3", "Deep Oceanic", "Someone", "Y"), makeSong("s4", "Deep Ocean", "Someone", "Z"),
                             makeSong("s5", "Ocean Eyes", "Someone", "W"), makeSong("s6", "Sunrise", "Someone", "V")};
    service.library.albums = {FakeMusicService::album("a1", "Tides", "Ocean Band"), FakeMusicService::album("a2", "Ocean Tides", "Other")};
    syncAll();

    // Name starting with the word, then the whole word in the title before a longer word, then
    // the artist, then the album.
    const auto ocean = runTask(database->search(QStringLiteral("ocean")));
    EXPECT_EQ(resultNames(*section(ocean, "Songs")), (QStringList{"Ocean Eyes", "Deep Ocean", "Deep Oceanic", "Blue", "Calm"}));
    EXPECT_EQ(resultNames(*section(ocean, "Albums")), (QStringList{"Ocean Tides", "Tides"}));

    // A one-letter last word narrows the hits like any other word.
    EXPECT_EQ(resultNames(*section(runTask(database->search(QStringLiteral("ocean e"))), "Songs")), QStringList{"Ocean Eyes"});
    EXPECT_EQ(resultNames(*section(runTask(database->search(QStringLiteral("deep o"))), "Songs")),
              (QStringList{"Deep Ocean", "Deep Oceanic"}));
}

TEST_F(StoreTest, SearchFindsTheBestHitsAmongMoreThanAnyCutAndOnlyLibrarySongs)
{
    // Early rows that match weakly (the artist's name), then the strong hits, then songs known
    // only from a playlist whose titles match as well as the best.
    QList<Song> songs;
    for (int i = 0; i < 2100; ++i)
        songs.append(makeSong(QStringLiteral("w%1").arg(i), QStringLiteral("Track %1").arg(i), "Lovelace Band", "Weak"));
    songs.append(makeSong("my", "My Love", "Someone", "X"));
    songs.append(makeSong("love", "Love", "Someone", "X"));
    songs.append(makeSong("story", "Love Story", "Someone", "X"));
    service.library.songs = songs;
    service.library.playlists = {FakeMusicService::playlist("p", "Elsewhere")};
    QList<Song> outsiders;
    for (int i = 0; i < 400; ++i)
        outsiders.append(makeSong(QStringLiteral("o%1").arg(i), QStringLiteral("Love %1").arg(i), "Someone", "Y"));
    service.playlistTracks[MusicItemID("p")] = outsiders;
    syncAll();

    const auto songsFor = [this](const char *query) {
        const auto sections = runTask(database->search(QString::fromUtf8(query)));
        return section(sections, "Songs") ? resultNames(*section(sections, "Songs")) : QStringList();
    };
    const QStringList love = songsFor("love");
    ASSERT_EQ(love.size(), 25);
    EXPECT_EQ(love.mid(0, 3), (QStringList{"Love", "Love Story", "My Love"}));
    EXPECT_TRUE(love.last().startsWith(QStringLiteral("Track "))); // then the artist's songs
    const QStringList lov = songsFor("lov");
    ASSERT_FALSE(lov.isEmpty());
    EXPECT_EQ(lov.mid(0, 3), (QStringList{"Love", "Love Story", "My Love"}));
    for (const QString &name : love + lov)
        EXPECT_FALSE(name.startsWith(QStringLiteral("Love ")) && name != QStringLiteral("Love Story")) << name.toStdString();
    // Two words: the title holds one, the artist the other.
    EXPECT_EQ(songsFor("lovelace track 2099").value(0), QStringLiteral("Track 2099"));
}

TEST_F(StoreTest, SearchFoldsCompatibilityFormsAndOnlyTheStartOfALongQueryCounts)
{
    service.library.songs = {makeSong("1", "ﬁre Starter", "ＡＢＣ Band", "Ｎｉｇｈｔｓ"), makeSong("2", "Quiet", "Someone", "X")};
    service.library.albums = {FakeMusicService::album("a", "Nights", "ＡＢＣ Band")};
    syncAll();
    const auto fire = runTask(database->search(QStringLiteral("fire")));
    ASSERT_TRUE(section(fire, "Songs"));
    EXPECT_EQ(resultNames(*section(fire, "Songs")), QStringList{"ﬁre Starter"});
    // The album is found by its full-width artist typed plainly.
    const auto abc = runTask(database->search(QStringLiteral("abc band")));
    ASSERT_TRUE(section(abc, "Albums"));
    EXPECT_EQ(resultNames(*section(abc, "Albums")), QStringList{"Nights"});
    EXPECT_TRUE(section(abc, "Songs"));

    // A pasted page of text returns at once (its first words match nothing), and what follows
    // the first few hundred characters is not searched at all.
    QString pasted = QStringLiteral("quiet");
    for (int i = 0; i < 2000; ++i)
        pasted += QStringLiteral(" zzz%1").arg(i);
    EXPECT_TRUE(runTask(database->search(pasted)).isEmpty());
    QString padded = QStringLiteral("quiet");
    padded += QString(2000, QLatin1Char(' ')) + QStringLiteral("zzz");
    const auto quiet = runTask(database->search(padded));
    ASSERT_TRUE(section(quiet, "Songs"));
    EXPECT_EQ(resultNames(*section(quiet, "Songs")), QStringList{"Quiet"});
}

TEST_F(StoreTest, CollectionSongsComeInCollectionOrder)
{
    auto track = [](const char *id, const char *title, const char *album, int disc, int number) {
        Song song = makeSong(id, title, "Band", album);
        song.discNumber = disc;
        song.trackNumber = number;
        return song;
    };
    service.library.songs = {track("1", "Two-One", "B", 2, 1), track("2", "One-Two", "B", 1, 2), track("3", "One-One", "B", 1, 1),
                             track("4", "A only", "a", 1, 1)};
    service.library.albums = {FakeMusicService::album("B", "B", "Band")};
    service.library.artists = {FakeMusicService::artist("band", "Band")};
    service.library.playlists = {FakeMusicService::playlist("p", "P")};
    Song outsider = makeSong("9", "Not in library", "Someone");
    service.playlistTracks[MusicItemID("p")] = {service.library.songs[0], outsider, service.library.songs[3]};
    syncAll();

    const auto albums = runTask(database->allAlbums({LocalAlbum::SortKey::title}));
    const QList<LocalSong> albumSongs = runTask(database->songs(albums.first()));
    EXPECT_EQ(titles(albumSongs), (QStringList{"One-One", "One-Two", "Two-One"}));
    EXPECT_EQ(albumSongs.last().order, 2);

    const QList<LocalSong> artistSongs = runTask(database->songs(runTask(database->allArtists({LocalArtist::SortKey::name})).first()));
    EXPECT_EQ(titles(artistSongs), (QStringList{"A only", "One-One", "One-Two", "Two-One"}));

    const QList<LocalSong> playlistSongs = runTask(database->songs(runTask(database->allPlaylists({LocalPlaylist::SortKey::name})).first()));
    EXPECT_EQ(titles(playlistSongs), (QStringList{"Two-One", "Not in library", "A only"}));
    EXPECT_EQ(playlistSongs[1].order, 1);
    // The playlist's outsider does not join the library.
    EXPECT_EQ(runTask(database->allLibrarySongs({LocalSong::SortKey::title})).size(), 4);
    EXPECT_FALSE(runTask(database->hasSong(QStringLiteral("Not in library"), std::nullopt, std::nullopt)));
}

// Which albums hold which songs through the models is tested with the library models; here, the
// two matches they do not reach: an album without an artist, and an album artist in another case.
TEST_F(StoreTest, AlbumsMatchTheirArtistFoldedAndAnAlbumWithoutOneHoldsSongsWithout)
{
    Song guest = makeSong("1", "Smooth", "Santana feat. Rob Thomas", "Supernatural");
    guest.albumArtistName = QStringLiteral("Santana");
    service.library.songs = {guest, makeSong("2", "Maria Maria", "Santana", "Supernatural"),
                             makeSong("3", "Waterloo", "ABBA", "Greatest Hits"), makeSong("4", "Untagged", std::nullopt, "Greatest Hits")};
    service.library.albums = {FakeMusicService::album("super", "Supernatural", "SANTANA")};
    syncAll();

    LocalAlbum nobody;
    nobody.id = QStringLiteral("nobody");
    nobody.title = QStringLiteral("Greatest Hits");
    EXPECT_EQ(titles(runTask(database->songs(nobody))), QStringList{"Untagged"});
    const LocalAlbum super = runTask(database->allAlbums({LocalAlbum::SortKey::title})).first();
    EXPECT_EQ(titles(runTask(database->songs(super))), (QStringList{"Maria Maria", "Smooth"}));
}

TEST_F(StoreTest, HasSongMatchesFoldedTextsAndOnlyTheGivenFields)
{
    service.library.songs = {makeSong("1", "Héllo  World", "The Band", "First")};
    syncAll();
    EXPECT_TRUE(runTask(database->hasSong(QStringLiteral("hello world"), std::nullopt, std::nullopt)));
    EXPECT_TRUE(runTask(database->hasSong(QStringLiteral(" HELLO WORLD "), QStringLiteral("the band"), QStringLiteral("first"))));
    EXPECT_TRUE(runTask(database->hasSong(QStringLiteral("Hello World"), QStringLiteral(""), std::nullopt)));
    EXPECT_FALSE(runTask(database->hasSong(QStringLiteral("Hello World"), QStringLiteral("Other"), std::nullopt)));
    EXPECT_FALSE(runTask(database->hasSong(QStringLiteral("Hello World"), std::nullopt, QStringLiteral("Second"))));
    EXPECT_FALSE(runTask(database->hasSong(QStringLiteral("Hello"), std::nullopt, std::nullopt)));
}

TEST_F(StoreTest, SyncAddsUpdatesAndRemovesToMatchTheService)
{
    service.library.songs = {makeSong("1", "One", "A"), makeSong("2", "Two", "A"), makeSong("3", "Three", "A")};
    service.library.albums = {FakeMusicService::album("a1", "Gone"), FakeMusicService::album("a2", "Stays")};
    service.library.playlists = {FakeMusicService::playlist("p1", "Old name"), FakeMusicService::playlist("p2", "Dropped")};
    service.playlistTracks[MusicItemID("p1")] = {service.library.songs[0], service.library.songs[1]};
    service.playlistTracks[MusicItemID("p2")] = {service.library.songs[2]};
    syncAll();
    ASSERT_EQ(runTask(database->allLibrarySongs({LocalSong::SortKey::order})).size(), 3);

    service.library.songs = {makeSong("4", "Four", "B"), makeSong("1", "One (Remastered)", "A")};
    service.library.albums = {FakeMusicService::album("a2", "Stays"), FakeMusicService::album("a3", "New")};
    service.library.playlists = {FakeMusicService::playlist("p1", "New name")};
    service.playlistTracks[MusicItemID("p1")] = {service.library.songs[1], makeSong("2", "Two", "A")};
    syncAll();

    const QList<LocalSong> songs = runTask(database->allLibrarySongs({LocalSong::SortKey::order}));
    EXPECT_EQ(titles(songs), (QStringList{"Four", "One (Remastered)"}));
    EXPECT_EQ(textsOf(runTask(database->allAlbums({LocalAlbum::SortKey::title})), &LocalAlbum::title), (QStringList{"New", "Stays"}));
    const QList<LocalPlaylist> playlists = runTask(database->allPlaylists({LocalPlaylist::SortKey::name}));
    ASSERT_EQ(playlists.size(), 1);
    EXPECT_EQ(playlists[0].name, QStringLiteral("New name"));
    // Song 2 left the library but its playlist still holds it.
    EXPECT_EQ(titles(runTask(database->songs(playlists[0]))), (QStringList{"One (Remastered)", "Two"}));
    EXPECT_TRUE(runTask(database->search(QStringLiteral("three"))).isEmpty());
    EXPECT_FALSE(runTask(database->search(QStringLiteral("remaster"))).isEmpty());
}

TEST_F(StoreTest, OverlappingSongSyncsSweepOnlyWhatNeitherSaw)
{
    using Kind = LocalDatabase::LibraryKind;
    const QList<Song> all = {makeSong("1", "One"), makeSong("2", "Two"), makeSong("3", "Three")};
    runTask(database->finishSync(Kind::songs, [&] {
        const qint64 first = runTask(database->beginSync(Kind::songs));
        runTask(database->storeLibrarySongs(all, first, 0));
        return first;
    }()));

    // An earlier sync saw only song 1; a later one, still running, found all three unchanged and
    // wrote nothing. The earlier one's sweep must not take 2 and 3 out of the library.
    const qint64 earlier = runTask(database->beginSync(Kind::songs));
    const qint64 later = runTask(database->beginSync(Kind::songs));
    runTask(database->storeLibrarySongs({all[0]}, earlier, 0));
    runTask(database->storeLibrarySongs(all, later, 0));
    EXPECT_EQ(runTask(database->finishSync(Kind::songs, earlier)), 0);
    EXPECT_EQ(titles(runTask(database->allLibrarySongs({LocalSong::SortKey::order}))), (QStringList{"One", "Two", "Three"}));

    // What an abandoned sync saw no longer counts for the sweep of one that began before it.
    EXPECT_EQ(runTask(database->finishSync(Kind::songs, later)), 0);
    const qint64 last = runTask(database->beginSync(Kind::songs));
    const qint64 abandoned = runTask(database->beginSync(Kind::songs));
    runTask(database->storeLibrarySongs(all, abandoned, 0));
    runTask(database->abandonSync(Kind::songs, abandoned));
    runTask(database->storeLibrarySongs({all[2]}, last, 0));
    EXPECT_EQ(runTask(database->finishSync(Kind::songs, last)), 2);
    EXPECT_EQ(titles(runTask(database->allLibrarySongs({LocalSong::SortKey::order}))), QStringList{"Three"});
}

// A sync of the whole library resolves songs and playlist entries through an index of every
// song read once; a playlist fetched on its own asks the table for each song. Both must store the
// same rows: library songs from any page, songs known only from a playlist, songs that join the
// library after a playlist brought them, and songs the same sync takes out of the library.
TEST_F(StoreTest, AWholeLibrarySyncStoresWhatSongBySongLookupsStore)
{
    LocalDatabase lookedUp(dir.filePath(QStringLiteral("looked-up.db")));
    runTask(lookedUp.open());
    auto mirrorBothWays = [&] {
        syncAll();
        runTask(SyncEngine(lookedUp, service).syncPlaylists());
        runTask(SyncEngine(lookedUp, service).syncSongs());
        for (const LocalPlaylist &playlist : runTask(lookedUp.allPlaylists({LocalPlaylist::SortKey::name})))
            runTask(SyncEngine(lookedUp, service).syncRemoteTracks(playlist));
    };
    auto contents = [](LocalDatabase &store) {
        QStringList rows;
        for (const LocalPlaylist &playlist : runTask(store.allPlaylists({LocalPlaylist::SortKey::name}))) {
            for (const LocalSong &song : runTask(store.songs(playlist)))
                rows.append(playlist.id + u' ' + song.id.rawValue() + u' ' + song.title);
        }
        for (const LocalSong &song : runTask(store.allLibrarySongs({LocalSong::SortKey::order})))
            rows.append(QStringLiteral("library ") + song.id.rawValue() + u' ' + song.title);
        return rows;
    };
    const char *everySong = "SELECT id || ' ' || title || ' ' || coalesce(library_order, '-') FROM songs ORDER BY id";

    // Three pages of songs; the playlist holds one from the last page, one twice, one the library
    // lacks, and one without an id.
    service.library.songs = FakeMusicService::songs(2500);
    service.library.playlists = {FakeMusicService::playlist("p1", "First"), FakeMusicService::playlist("p2", "Second")};
    const Song outside = makeSong("x", "Outside");
    service.playlistTracks[MusicItemID("p1")] = {service.library.songs[2400], service.library.songs[5], outside,
                                                 service.library.songs[5], makeSong("", "No id")};
    service.playlistTracks[MusicItemID("p2")] = {service.library.songs[7]};
    mirrorBothWays();
    EXPECT_EQ(contents(*database), contents(lookedUp));
    EXPECT_EQ(sqliteColumn(database->path(), everySong), sqliteColumn(lookedUp.path(), everySong));
    ASSERT_EQ(runTask(database->songs(runTask(database->allPlaylists({LocalPlaylist::SortKey::name})).first())).size(), 4);

    // The song the playlist brought joins the library, one is renamed, one leaves the library
    // while a playlist still holds it, listed there with a new title.
    service.library.songs[5].title = QStringLiteral("Renamed");
    service.playlistTracks[MusicItemID("p2")][0].title = QStringLiteral("Left");
    service.library.songs.removeAt(7);
    service.library.songs.append(outside);
    service.playlistTracks[MusicItemID("p1")][1] = service.library.songs[5];
    mirrorBothWays();
    EXPECT_EQ(contents(*database), contents(lookedUp));
    EXPECT_EQ(sqliteColumn(database->path(), everySong), sqliteColumn(lookedUp.path(), everySong));
    EXPECT_EQ(sqliteColumn(database->path(), "SELECT title || coalesce(library_order, '') FROM songs WHERE id = 's7'"),
              QStringList{"Left"});
    EXPECT_EQ(sqliteColumn(database->path(), "SELECT library_order FROM songs WHERE id = 'x'"), QStringList{"2499"});
    runTask(lookedUp.close());
}

TEST_F(StoreTest, RemoteTracksAndInsertsJoinTheLibrary)
{
    service.library.songs = {makeSong("1", "Old", "Band", "Record")};
    service.library.albums = {FakeMusicService::album("r", "Record", "Band")};
    service.library.playlists = {FakeMusicService::playlist("p", "Later")};
    syncAll();
    // The service could not list the playlist during the sync; it can now.
    EXPECT_EQ(runTask(database->playlistsWithoutContents()).size(), 1);
    service.playlistTracks[MusicItemID("p")] = {makeSong("7", "Seven", "Band")};
    const LocalPlaylist playlist = runTask(database->allPlaylists({LocalPlaylist::SortKey::name})).first();
    EXPECT_EQ(titles(runTask(SyncEngine(*database, service).syncRemoteTracks(playlist))), QStringList{"Seven"});

    const LocalAlbum album = runTask(database->allAlbums({LocalAlbum::SortKey::title})).first();
    Song fresh = makeSong("2", "New", "Band", "Record");
    fresh.trackNumber = 1;
    service.albumTracks[MusicItemID("r")] = {fresh};
    const QList<LocalSong> albumSongs = runTask(SyncEngine(*database, service).syncRemoteTracks(album));
    // "New" joins the library. The album's listing lacks "Old", which stays until a listing of
    // the library itself says it is gone.
    EXPECT_EQ(titles(albumSongs), (QStringList{"New", "Old"}));
    EXPECT_EQ(titles(runTask(database->allLibrarySongs({LocalSong::SortKey::order}))), (QStringList{"Old", "New"}));
    service.library.songs = {fresh};
    runTask(SyncEngine(*database, service).syncSongs());
    EXPECT_EQ(titles(runTask(database->allLibrarySongs({LocalSong::SortKey::order}))), QStringList{"New"});

    Song added = makeSong("3", "Added", "Band");
    added.libraryAddedDate = QDateTime::currentDateTimeUtc();
    service.library.songs.append(added);
    runTask(SyncEngine(*database, service).syncInserts());
    EXPECT_TRUE(runTask(database->hasSong(QStringLiteral("added"), std::nullopt, std::nullopt)));
    EXPECT_EQ(runTask(database->allLibrarySongs({LocalSong::SortKey::order})).last().title, QStringLiteral("Added"));

    service.fail(FakeMusicService::Operation::librarySongsAdded, MusicError(MusicError::serviceFailed, QStringLiteral("down")));
    EXPECT_NO_THROW(runTask(SyncEngine(*database, service).syncInserts()));
}

TEST_F(StoreTest, BadRecordsAreCleanedOrSkippedWithoutStoppingTheSync)
{
    Song noTitle = makeSong("1", "x");
    noTitle.title.clear();
    Song noID = makeSong("", "No id");
    Song broken = makeSong("3", QString(QChar(0xD800)) + QStringLiteral("Bro\u0001ken"));
    Song forever = makeSong("4", "Forever", "A", std::nullopt, 1e12);
    Song negative = makeSong("5", "Negative", "A", std::nullopt, -3);
    Song duplicate = makeSong("4", "Forever again", "A");
    service.library.songs = {noTitle, noID, broken, forever, negative, duplicate, makeSong("6", "Fine")};
    service.library.playlists = {FakeMusicService::playlist("p", "List")};
    service.playlistTracks[MusicItemID("p")] = {noID, makeSong("6", "Fine")};
    syncAll();

    const QList<LocalSong> songs = runTask(database->allLibrarySongs({LocalSong::SortKey::order}));
    EXPECT_EQ(titles(songs), (QStringList{"Unknown", "Broken", "Negative", "Forever again", "Fine"}));
    for (const LocalSong &song : songs)
        EXPECT_TRUE(song.duration >= 0 && song.duration <= 24 * 3600) << song.title.toStdString();
    EXPECT_EQ(songs[2].duration, 0);
    const LocalPlaylist playlist = runTask(database->allPlaylists({LocalPlaylist::SortKey::name})).first();
    EXPECT_EQ(titles(runTask(database->songs(playlist))), QStringList{"Fine"});
}

// Artwork URLs are stored as QUrl writes them, whether or not the text skips QUrl's reader.
TEST(StoreWritesTest, ArtworkURLsAreStoredAsQUrlWritesThem)
{
    for (const char *address : {"https://music.example.org/sub/rest/getCoverArt.view?id=al-1_x.y~z&size={w}",
                                "https://music.example.org/sub/rest/getCoverArt.view?id=al-2&size={w}",
                                "http://127.0.0.1:4040/rest/getCoverArt.view?id=a%20b%26c&size={w}",
                                "HTTP://Music.Example.ORG:443/a/../b/c.view?id=1&size={w}x{h}",
                                "https://music.example.org/sub/rest/getCoverArt.view?id=x y&size={w}",
                                "https://music.example.org/sub/rest/getCoverArt.view?id=%41&size={w}",
                                "https://host/a#frag?id=1", "https://host/%7e/b?id=1", "https://h/ü?id=1", "?id=1",
                                "file:///covers/{w}x{h}.jpg", "https://host/art/{w}x{h}bb.jpg", "not a url ?x=1"}) {
        const QString text = QString::fromUtf8(address);
        const QString expected = Artwork(text).url(recordArtworkSize, recordArtworkSize).toString();
        EXPECT_EQ(StoreWrites::artworkText(Artwork(text)), expected) << address;
        // Again, now that the address was checked once.
        EXPECT_EQ(StoreWrites::artworkText(Artwork(text)), expected) << address;
    }
}

TEST_F(StoreTest, CancellationStopsTheSyncAndLeavesAConsistentStore)
{
    service.library.songs = FakeMusicService::songs(2500);
    syncAll();

    TaskHandle handle;
    handle.cancel();
    EXPECT_THROW(runTask(SyncEngine(*database, service, handle.token()).syncSongs()), CancellationError);

    // Cancelled between pages: the pages already stored stay, nothing is swept.
    CancelAfterFirstSongPage cancelling;
    cancelling.library.songs = FakeMusicService::songs(1500, QStringLiteral("n"));
    EXPECT_THROW(runTask(SyncEngine(*database, cancelling, cancelling.handle.token()).syncSongs()), CancellationError);
    const auto songs = runTask(database->allLibrarySongs({LocalSong::SortKey::order}));
    EXPECT_GE(songs.size(), 2500);
    EXPECT_LE(songs.size(), 4000);

    // The next full sync sweeps what the cancelled one left behind.
    runTask(SyncEngine(*database, cancelling).syncSongs());
    EXPECT_EQ(runTask(database->allLibrarySongs({LocalSong::SortKey::order})).size(), 1500);
}

TEST(StoreOpenTest, AFailedOpenMakesEveryCallThrow)
{
    QTemporaryDir dir;
    const qsizetype logged = LogStore::shared().entries().size();
    LocalDatabase missingFolder(dir.filePath(QStringLiteral("no/such/folder/local.db")));
    EXPECT_THROW(runTask(missingFolder.open()), StoreError);
    EXPECT_EQ(LogStore::shared().entries().size(), logged) << "a failed open is dropped without a word";
    EXPECT_THROW(runTask(missingFolder.allLibrarySongs({LocalSong::SortKey::title})), StoreError);
    EXPECT_THROW(runTask(missingFolder.search(QStringLiteral("a"))), StoreError);

    const QString garbagePath = dir.filePath(QStringLiteral("garbage.db"));
    QFile garbage(garbagePath);
    ASSERT_TRUE(garbage.open(QIODevice::WriteOnly));
    garbage.write(QByteArray(8192, 'x'));
    garbage.close();
    LocalDatabase corrupt(garbagePath);
    EXPECT_THROW(runTask(corrupt.open()), StoreError);
    EXPECT_THROW(runTask(corrupt.hasSong(QStringLiteral("a"), std::nullopt, std::nullopt)), StoreError);

    LocalDatabase neverOpened(dir.filePath(QStringLiteral("closed.db")));
    EXPECT_THROW(runTask(neverOpened.allAlbums({LocalAlbum::SortKey::title})), StoreError);
}

TEST(StoreOpenTest, ReopeningKeepsTheContentAndAnOlderStoreIsBroughtUpToDate)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("local.db"));
    FakeMusicService service;
    service.library.songs = {makeSong("1", "One", "Beach Bunny", "Honeymoon"), makeSong("2", "Two", "Beach Bunny", "Honeymoon"),
                             makeSong("3", "Three", "Other", "Elsewhere"), makeSong("4", "ﬁre Starter", "Someone", "Ｎｉｇｈｔｓ")};
    service.library.artists = {FakeMusicService::artist("r1", "Beach Bunny")};
    service.library.albums = {FakeMusicService::album("a1", "Honeymoon", "Beach Bunny"),
                              FakeMusicService::album("a2", "Ｎｉｇｈｔｓ", "ＡＢＣ Band")};
    {
        LocalDatabase database(path);
        runTask(database.open());
        runTask(SyncEngine(database, service).syncAll(nullptr));
        runTask(database.close());
    }
    // The store as the first schema left it: no fingerprints of folded names, no row digests, and
    // full-text indexes over the texts as written.
    runSql(path,
           "DROP INDEX songs_by_album_hash; DROP INDEX songs_by_artist_hash; DROP INDEX songs_by_album_artist_hash;"
           "DROP TRIGGER albums_search_insert; DROP TRIGGER albums_search_delete; DROP TRIGGER albums_search_update;"
           "ALTER TABLE albums DROP COLUMN artist_fold;"
           "ALTER TABLE songs DROP COLUMN album_hash; ALTER TABLE songs DROP COLUMN artist_hash;"
           "ALTER TABLE songs DROP COLUMN album_artist_hash; ALTER TABLE songs DROP COLUMN digest;"
           "DROP TRIGGER songs_search_insert; DROP TRIGGER songs_search_delete; DROP TRIGGER songs_search_update;"
           "DROP TABLE songs_search; DROP TABLE albums_search;"
           "CREATE VIRTUAL TABLE songs_search USING fts5(title, artist, album, content='songs', content_rowid='pk');"
           "CREATE VIRTUAL TABLE albums_search USING fts5(title, artist, content='albums', content_rowid='pk');"
           "INSERT INTO songs_search(songs_search) VALUES ('rebuild'); INSERT INTO albums_search(albums_search) VALUES ('rebuild');"
           "PRAGMA user_version = 1;");
    ASSERT_EQ(sqliteColumn(path, "SELECT count(*) FROM songs_search WHERE songs_search MATCH 'fire'"), QStringList{"0"});

    LocalDatabase again(path);
    runTask(again.open());
    EXPECT_EQ(runTask(again.allLibrarySongs({LocalSong::SortKey::order})).size(), 4);
    const LocalAlbum album = runTask(again.allAlbums({LocalAlbum::SortKey::title})).value(0);
    const LocalArtist artist = runTask(again.allArtists({LocalArtist::SortKey::name})).value(0);
    EXPECT_EQ(titles(runTask(again.songs(album))), (QStringList{"One", "Two"}));
    EXPECT_EQ(titles(runTask(again.songs(artist))), (QStringList{"One", "Two"}));
    EXPECT_FALSE(runTask(again.search(QStringLiteral("thr"))).isEmpty());
    // The search indexes are folded like the query again.
    const auto fire = runTask(again.search(QStringLiteral("fire")));
    ASSERT_TRUE(section(fire, "Songs"));
    EXPECT_EQ(resultNames(*section(fire, "Songs")), QStringList{"ﬁre Starter"});
    const auto abc = runTask(again.search(QStringLiteral("abc nights")));
    ASSERT_TRUE(section(abc, "Albums"));
    EXPECT_EQ(resultNames(*section(abc, "Albums")), QStringList{"Ｎｉｇｈｔｓ"});
    // The next sync finds every song unchanged once the digests are back.
    runTask(SyncEngine(again, service).syncSongs());
    EXPECT_EQ(runTask(again.allLibrarySongs({LocalSong::SortKey::order})).size(), 4);
}
