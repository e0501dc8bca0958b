// The store keeps song records in memory beside its table, rewrites only the songs a sync changed,
// and builds the indexes of a table filled from empty once, at the end of its sync (the songs'
// full-text index a few seconds later, or at the first search). These tests hold a store that has
// read its records while it is written through every public path against a second store that
// reads the same file afresh, and check the indexes around first syncs.

#include "StoreTestSupport.h"

#include "LumevarCore/SyncEngine.h"
#include "Support/Error.h"
#include "TestKit/ManualClock.h"

#include <QTimeZone>
#include <sqlite3.h>

namespace {

// Everything a store hands out about songs, by what was asked.
using Snapshot = QList<std::pair<QString, QList<LocalSong>>>;

Snapshot snapshot(LocalDatabase &db)
{
    using K = LocalSong::SortKey;
    const SortOrder rev = SortOrder::reverse;
    // The first descriptor is also the last: the second read hands out the kept list.
    const QList<SortDescriptor<LocalSong>> sorts = {{K::order, rev}, {K::title}, {K::title, rev}, {K::artistName, rev},
                                                    {K::albumTitle}, {K::duration, rev}, {K::genre}, {K::releaseDate, rev},
                                                    {K::order}, {K::order, rev}};
    Snapshot result;
    for (const auto &sort : sorts)
        result.append({QStringLiteral("library %1/%2").arg(int(sort.key)).arg(int(sort.order)), runTask(db.allLibrarySongs(sort))});
    for (const LocalPlaylist &p : runTask(db.allPlaylists({LocalPlaylist::SortKey::name})))
        result.append({QStringLiteral("playlist ") + p.id, runTask(db.songs(p))});
    for (const LocalAlbum &a : runTask(db.allAlbums({LocalAlbum::SortKey::title})))
        result.append({QStringLiteral("album ") + a.id, runTask(db.songs(a))});
    for (const LocalArtist &a : runTask(db.allArtists({LocalArtist::SortKey::name})))
        result.append({QStringLiteral("artist ") + a.id, runTask(db.songs(a))});
    for (const char *term : {"so", "band", "blue night", "moon"}) {
        QList<LocalSong> found;
        for (const SearchSection &section : runTask(db.search(QString::fromUtf8(term))))
            for (const SearchResult &hit : section.results)
                if (const LocalSong *song = hit.payload<LocalSong>())
                    found.append(*song);
        result.append({QStringLiteral("search ") + term, found});
    }
    return result;
}

// Compares every list field by field and in order; names the list that differs.
void expectSame(const Snapshot &warm, const Snapshot &fresh, const char *step)
{
    ASSERT_EQ(warm.size(), fresh.size()) << step;
    for (qsizetype i = 0; i < warm.size(); ++i)
        EXPECT_TRUE(warm[i].second == fresh[i].second) << step << ": " << warm[i].first.toStdString();
}

// Whether the indexes a first sync drops are all there again.
bool songIndexesPresent(const QString &path)
{
    return sqliteColumn(path, "SELECT name FROM sqlite_master WHERE name IN ('songs_by_title_fold', 'songs_search_insert',"
                              " 'songs_search_update', 'albums_by_title_fold', 'albums_search_insert')")
               .size() == 5;
}

QStringList songTitles(const QList<SearchSection> &sections)
{
    QStringList titles;
    for (const SearchSection &section : sections)
        if (section.name == QLatin1String("Songs"))
            for (const SearchResult &hit : section.results)
                titles.append(hit.name());
    titles.sort(); // ranked search orders by relevance
    return titles;
}

Song track(const char *id, const char *title, const char *artist, const char *album, int number, qint64 released = 0)
{
    Song song = makeSong(id, title, artist, album, 100 + number * 7);
    song.trackNumber = number;
    song.discNumber = 1;
    song.genreNames = {number % 2 ? QStringLiteral("Rock") : QStringLiteral("Jazz")};
    if (released)
        song.releaseDate = QDateTime::fromMSecsSinceEpoch(released, QTimeZone::utc());
    return song;
}

class StoreUpkeepTest : public StoreTest {
protected:
    QString path() const { return dir.filePath(QStringLiteral("local.db")); }
    // The same file read by a store that never saw the writes.
    Snapshot freshSnapshot()
    {
        LocalDatabase fresh(path());
        runTask(fresh.open());
        Snapshot result = snapshot(fresh);
        runTask(fresh.close());
        return result;
    }
    void fillLibrary()
    {
        service.library.songs = {track("1", "Blue Night", "Band", "Blue", 1, 5000), track("2", "Moonrise", "Band", "Blue", 2),
                                 track("3", "Solo", "Other", "Grey", 1, 9000), track("4", "Song of Moon", "Band", "Blue", 3, 5000),
                                 track("5", "Sonata", "Piano Man", "Keys", 1)};
        service.library.albums = {FakeMusicService::album("blue", "Blue", "Band"), FakeMusicService::album("keys", "Keys", "Piano Man")};
        service.library.artists = {FakeMusicService::artist("band", "Band"), FakeMusicService::artist("other", "Other")};
        service.library.playlists = {FakeMusicService::playlist("p1", "Mix"), FakeMusicService::playlist("p2", "Night")};
        service.playlistTracks[MusicItemID("p1")] = {service.library.songs[1], track("90", "Outsider Song", "Band", "Far", 4)};
        service.playlistTracks[MusicItemID("p2")] = {service.library.songs[3], service.library.songs[0]};
    }
};

} // namespace

TEST_F(StoreUpkeepTest, WarmRecordsMatchAFreshReadAfterEveryKindOfWrite)
{
    fillLibrary();
    syncAll();
    expectSame(snapshot(*database), freshSnapshot(), "first sync");

    // A second sync: a title, an artist and a date change, one song goes, one comes, the order moves.
    auto &songs = service.library.songs;
    songs[1].title = QStringLiteral("Moonset");
    songs[2].artistName = QStringLiteral("Band");
    songs[3].releaseDate.reset();
    songs.removeAt(4);
    songs.prepend(track("6", "Sober", "Band", "Blue", 4, 7000));
    std::swap(songs[1], songs[3]);
    syncAll();
    expectSame(snapshot(*database), freshSnapshot(), "second sync");
    const QList<LocalSong> second = runTask(database->allLibrarySongs({LocalSong::SortKey::order}));
    EXPECT_EQ(titles(second), (QStringList{"Sober", "Solo", "Moonset", "Blue Night", "Song of Moon"}));
    EXPECT_TRUE(second.size() == 5 && second[1].artistName == "Band" && !second[4].releaseDate);

    // Library now: 6 3 2 1 4. The album lists 7 but neither 2 nor 4: they stay in the library (only
    // a listing of the library takes songs out), and the album shows them in track order.
    const LocalAlbum blue = runTask(database->allAlbums({LocalAlbum::SortKey::title})).first();
    service.albumTracks[MusicItemID("blue")] = {track("7", "Blue Moon", "Band", "Blue", 9), songs[3], songs[0]};
    EXPECT_EQ(titles(runTask(SyncEngine(*database, service).syncRemoteTracks(blue))),
              (QStringList{"Blue Night", "Moonset", "Song of Moon", "Sober", "Blue Moon"}));
    expectSame(snapshot(*database), freshSnapshot(), "album tracks");
    // The artist takes 8 in; 6 and 7, which it does not list, stay.
    const LocalArtist band = runTask(database->allArtists({LocalArtist::SortKey::name})).first();
    service.artistTracks[MusicItemID("band")] = {songs[1], songs[3], track("8", "Band Song", "Band", "Blue", 5), songs[4]};
    runTask(SyncEngine(*database, service).syncRemoteTracks(band));
    expectSame(snapshot(*database), freshSnapshot(), "artist tracks");
    EXPECT_EQ(sqliteColumn(path(), "SELECT count(*) FROM songs WHERE id IN ('6', '7') AND library_order IS NOT NULL"),
              QStringList{"2"});

    // Songs added since the latest added date, and a refresh of a library song through addLibrarySongs.
    Song added = track("9", "Moon Dance", "Other", "Grey", 2);
    added.libraryAddedDate = QDateTime::fromMSecsSinceEpoch(1'700'000'000'000, QTimeZone::utc());
    service.library.songs.append(added);
    runTask(SyncEngine(*database, service).syncInserts());
    expectSame(snapshot(*database), freshSnapshot(), "inserts");
    Song renamed = service.library.songs[1];
    renamed.title = QStringLiteral("Blue Night (Live)");
    runTask(database->addLibrarySongs({renamed}));
    expectSame(snapshot(*database), freshSnapshot(), "refresh");
    runTask(database->addLibrarySongs({track("90", "Outsider Song", "Band", "Far", 4)}));
    expectSame(snapshot(*database), freshSnapshot(), "outsider joins");
    EXPECT_EQ(titles(runTask(database->allLibrarySongs({LocalSong::SortKey::order}))),
              (QStringList{"Sober", "Blue Night (Live)", "Moonset", "Blue Night", "Song of Moon", "Blue Moon", "Band Song",
                           "Moon Dance", "Outsider Song"}));

    // p1 holds 6 again but no longer 2, which the library still lists: 2 stays.
    const QList<LocalPlaylist> playlists = runTask(database->allPlaylists({LocalPlaylist::SortKey::name}));
    service.playlistTracks[MusicItemID("p1")] = {songs[0]};
    runTask(SyncEngine(*database, service).syncRemoteTracks(playlists.first()));
    expectSame(snapshot(*database), freshSnapshot(), "orphan");
    EXPECT_EQ(sqliteColumn(path(), "SELECT count(*) FROM songs WHERE id = '2'"), QStringList{"1"});
    EXPECT_EQ(sqliteColumn(path(), "SELECT count(*) FROM songs WHERE id = '90'"), QStringList{"1"});

    // p1 leaves the service, and so does song 6 that only it held; a full sync catches up with the rest.
    service.library.playlists.removeFirst();
    ASSERT_EQ(songs.first().id.rawValue(), QStringLiteral("6"));
    songs.removeFirst();
    syncAll();
    expectSame(snapshot(*database), freshSnapshot(), "playlist removed");
    EXPECT_EQ(sqliteColumn(path(), "SELECT group_concat(id) FROM (SELECT id FROM songs ORDER BY library_order)"),
              QStringList{"3,2,1,4,9"});
}

TEST_F(StoreUpkeepTest, UnchangedResyncShowsNothingNewAndAReorderMovesOnlyTheOrder)
{
    fillLibrary();
    syncAll();
    const Snapshot before = snapshot(*database);
    syncAll();
    expectSame(snapshot(*database), before, "unchanged resync");

    // The service now lists the songs backwards: only order changes, and it runs 0, 1, 2, … again.
    std::reverse(service.library.songs.begin(), service.library.songs.end());
    syncAll();
    const QList<LocalSong> reordered = runTask(database->allLibrarySongs({LocalSong::SortKey::order}));
    QStringList ids;
    for (qsizetype i = 0; i < reordered.size(); ++i) {
        ids.append(reordered[i].identifier);
        EXPECT_EQ(reordered[i].order, int(i));
    }
    EXPECT_EQ(ids, (QStringList{"5", "4", "3", "2", "1"}));
    QList<LocalSong> byTitle = runTask(database->allLibrarySongs({LocalSong::SortKey::title}));
    QList<LocalSong> byTitleBefore = before[1].second;
    for (LocalSong &song : byTitle)
        song.order.reset();
    for (LocalSong &song : byTitleBefore)
        song.order.reset();
    EXPECT_TRUE(byTitle == byTitleBefore);
    expectSame(snapshot(*database), freshSnapshot(), "reorder");
}

// A first sync leaves the songs' indexes for a few seconds later, after the lists it changed were
// read: the reads that would use a lookup meanwhile scan the table, and a search that comes
// sooner builds the full-text index first, so nobody finds less.
TEST_F(StoreUpkeepTest, AFirstSyncBuildsItsSongIndexesLaterAndReadsThatComeSoonerFindEverything)
{
    auto trigger = [](const QString &file) {
        return sqliteColumn(file, "SELECT name FROM sqlite_master WHERE name = 'songs_search_insert'");
    };
    ManualClock clock;
    Clock::setShared(&clock);
    fillLibrary();
    syncAll();
    EXPECT_TRUE(sqliteColumn(path(), "SELECT name FROM sqlite_master WHERE name = 'songs_by_album_hash'").isEmpty());
    EXPECT_TRUE(trigger(path()).isEmpty());
    EXPECT_EQ(runTask(database->allLibrarySongs({LocalSong::SortKey::title})).size(), 5);
    const LocalAlbum blue = runTask(database->allAlbums({LocalAlbum::SortKey::title})).first();
    EXPECT_EQ(titles(runTask(database->songs(blue))), (QStringList{"Blue Night", "Moonrise", "Song of Moon"}));
    LocalArtist soloist;
    soloist.name = QStringLiteral("other");
    EXPECT_EQ(titles(runTask(database->songs(soloist))), QStringList{"Solo"});
    EXPECT_TRUE(runTask(database->hasSong(QStringLiteral("moonrise"), QStringLiteral("Band"), QStringLiteral("blue"))));
    // Writes before the index is built: a new song, and Moonrise renamed.
    runTask(database->addLibrarySongs({track("7", "Moonlight Drive", "Band", "Blue", 6)}));
    Song renamed = service.library.songs[1];
    renamed.title = QStringLiteral("Starlit Night");
    runTask(database->addLibrarySongs({renamed}));
    EXPECT_EQ(songTitles(runTask(database->search(QStringLiteral("moon")))), (QStringList{"Moonlight Drive", "Song of Moon"}));
    EXPECT_EQ(songTitles(runTask(database->search(QStringLiteral("starlit")))), QStringList{"Starlit Night"});
    EXPECT_FALSE(trigger(path()).isEmpty());
    // The search built the full-text index only; the lookups come when the clock says so.
    EXPECT_TRUE(sqliteColumn(path(), "SELECT name FROM sqlite_master WHERE name = 'songs_by_album_hash'").isEmpty());
    clock.advance(5);
    runTask(database->condition());
    EXPECT_FALSE(sqliteColumn(path(), "SELECT name FROM sqlite_master WHERE name = 'songs_by_album_hash'").isEmpty());
    expectSame(snapshot(*database), freshSnapshot(), "searched before the indexes were due");

    // Left alone, a second store builds it when the clock says so.
    const QString other = dir.filePath(QStringLiteral("other.db"));
    LocalDatabase second(other);
    runTask(second.open());
    runTask(SyncEngine(second, service).syncAll(nullptr));
    EXPECT_TRUE(trigger(other).isEmpty());
    clock.advance(5);
    runTask(second.condition()); // behind the jobs the clock started
    EXPECT_FALSE(trigger(other).isEmpty());
    EXPECT_FALSE(sqliteColumn(other, "SELECT name FROM sqlite_master WHERE name = 'songs_by_album_hash'").isEmpty());
    EXPECT_EQ(songTitles(runTask(second.search(QStringLiteral("sonata")))), QStringList{"Sonata"});
    runTask(second.close());
    Clock::setShared(nullptr);
}

TEST_F(StoreUpkeepTest, AnInterruptedFirstSyncKeepsSearchAndIndexesAcrossReopening)
{
    // Cancelled after its first page: 1000 of 2500 songs are stored.
    CancelAfterFirstSongPage cancelling;
    cancelling.library.songs = FakeMusicService::songs(2500, QStringLiteral("n"));
    EXPECT_THROW(runTask(SyncEngine(*database, cancelling, cancelling.handle.token()).syncSongs()), CancellationError);
    auto checkStored = [this](const char *when) {
        EXPECT_TRUE(songIndexesPresent(path())) << when;
        EXPECT_EQ(songTitles(runTask(database->search(QStringLiteral("n999")))), QStringList{"Song n999"}) << when;
        EXPECT_TRUE(songTitles(runTask(database->search(QStringLiteral("n1500")))).isEmpty()) << when;
        EXPECT_TRUE(runTask(database->hasSong(QStringLiteral("song n10"), std::nullopt, std::nullopt))) << when;
        EXPECT_EQ(runTask(database->allLibrarySongs({LocalSong::SortKey::title})).size(), 1000) << when;
    };
    checkStored("after cancelling");
    runTask(database->close());
    EXPECT_EQ(sqliteColumn(path(), "PRAGMA integrity_check"), QStringList{"ok"});
    runTask(database->open());
    checkStored("after reopening");

    // A process that dies mid-sync never calls abandonSync: opening the store restores the indexes.
    const QString other = dir.filePath(QStringLiteral("died.db"));
    {
        LocalDatabase dying(other);
        runTask(dying.open());
        const qint64 generation = runTask(dying.beginSync(LocalDatabase::LibraryKind::songs));
        runTask(dying.storeLibrarySongs({makeSong("d1", "Dead Man's Party", "Oingo")}, generation, 0));
        runTask(dying.close());
    }
    EXPECT_TRUE(sqliteColumn(other, "SELECT name FROM sqlite_master WHERE name = 'songs_search_insert'").isEmpty());
    LocalDatabase reopened(other);
    runTask(reopened.open());
    EXPECT_FALSE(sqliteColumn(other, "SELECT name FROM sqlite_master WHERE name = 'songs_by_title_fold'").isEmpty());
    EXPECT_FALSE(sqliteColumn(other, "SELECT name FROM sqlite_master WHERE name = 'songs_search_insert'").isEmpty());
    EXPECT_EQ(songTitles(runTask(reopened.search(QStringLiteral("oingo party")))), QStringList{"Dead Man's Party"});
    runTask(reopened.close());
    EXPECT_EQ(sqliteColumn(other, "PRAGMA integrity_check"), QStringList{"ok"});
}
