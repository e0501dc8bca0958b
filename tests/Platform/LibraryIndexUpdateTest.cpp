// A library index made from the last one and a scan's changes is the index a whole build of that
// scan makes, and its change lists say exactly what differs. A scan of only the folders that
// changed gives the same index and revision as a scan of the whole folder, and leaves the cache
// file as a whole scan would.
#include "LocalLibraryTestSupport.h"

#include "Platform/LocalLibrary/LibraryIndex.h"
#include "Platform/LocalLibrary/LocalIdentifiers.h"
#include "Platform/LocalLibrary/ScanCache.h"
#include "Platform/Music/LibraryChange.h"
#include "TestKit/Lists.h"

#include <cstdio>

using namespace LocalLibraryTestSupport;

namespace {

struct Folder {
    QTemporaryDir music;
    QTemporaryDir cache;
    ScanCache scanCache{QFile::encodeName(music.path()), cache.filePath(QStringLiteral("scan.cache"))};
    QString path(const QString &relative) const { return music.filePath(relative); }
    ScanResult scan() { return FolderScanner(music.path(), cache.path()).scan(nullptr, &scanCache); }
};

template <typename T>
QStringList idsOf(const QList<T> &items)
{
    QStringList values = textsOf(items, [](const T &item) { return item.id.rawValue(); });
    values.sort();
    return values;
}

MusicItemID artistNamed(const QString &name) { return LocalIdentifiers::make(LocalIdentifiers::artist, LocalIdentifiers::nameKey(name)); }

// Every list and every collection's tracks of the two indexes agree.
void expectSameIndex(const LibraryIndex &updated, const LibraryIndex &built)
{
    EXPECT_EQ(updated.songs(), built.songs());
    EXPECT_EQ(updated.albums(), built.albums());
    EXPECT_EQ(updated.artists(), built.artists());
    EXPECT_EQ(updated.playlists(), built.playlists());
    ASSERT_EQ(updated.genres().size(), built.genres().size());
    for (qsizetype i = 0; i < built.genres().size(); ++i) {
        EXPECT_EQ(updated.genres()[i].name, built.genres()[i].name);
        EXPECT_EQ(updated.genres()[i].songIDs, built.genres()[i].songIDs);
    }
    for (const Album &album : built.albums())
        EXPECT_EQ(updated.albumTracks(album.id), built.albumTracks(album.id)) << album.title.toStdString();
    for (const Artist &artist : built.artists())
        EXPECT_EQ(updated.artistTracks(artist.id), built.artistTracks(artist.id)) << artist.name.toStdString();
    for (const Playlist &playlist : built.playlists())
        EXPECT_EQ(updated.playlistTracks(playlist.id), built.playlistTracks(playlist.id)) << playlist.name.toStdString();
    for (const Song &song : built.songs())
        EXPECT_EQ(updated.filePath(song.id), built.filePath(song.id)) << song.title.toStdString();
}

} // namespace

TEST(LibraryIndexUpdate, AddedChangedDeletedAndMovedFilesReadFolderByFolderGiveTheIndexOfAWholeBuild)
{
    Folder folder;
    writeTrack(folder.music.path(), QStringLiteral("A/One/1.mp3"), tags(QStringLiteral("One"), QStringLiteral("A"), QStringLiteral("One"), {}, QStringLiteral("Rock"), 1));
    writeTrack(folder.music.path(), QStringLiteral("A/One/2.mp3"), tags(QStringLiteral("Two"), QStringLiteral("A"), QStringLiteral("One"), {}, QStringLiteral("Rock"), 2));
    writeTrack(folder.music.path(), QStringLiteral("B/Solo/1.mp3"), tags(QStringLiteral("Solo"), QStringLiteral("B"), QStringLiteral("Solo"), {}, QStringLiteral("Jazz")));
    // A guest on A's album: A's song too, while A exists.
    writeTrack(folder.music.path(), QStringLiteral("A/One/3.mp3"), tags(QStringLiteral("Guest"), QStringLiteral("G"), QStringLiteral("One"), QStringLiteral("A")));
    writeTrack(folder.music.path(), QStringLiteral("C/Mix/1.mp3"), tags(QStringLiteral("Mixed"), QStringLiteral("G"), QStringLiteral("Mix"), QStringLiteral("C")));
    writeTrack(folder.music.path(), QStringLiteral("E/Gone/Below/1.mp3"), tags(QStringLiteral("Below"), QStringLiteral("E")));
    writeFile(folder.path(QStringLiteral("list.m3u")), "A/One/2.mp3\nB/Solo/1.mp3\nC/Mix/2.mp3\n");
    const ScanResult firstScan = folder.scan();
    ASSERT_TRUE(folder.scanCache.save());
    folder.scanCache.release();
    const LibraryIndex first(firstScan);
    const QByteArray soloFile = QFile::encodeName(folder.path(QStringLiteral("B/Solo/1.mp3")));
    MusicItemID soloID;
    for (const Song &song : first.songs())
        if (song.title == QStringLiteral("Solo"))
            soloID = song.id;

    // Added: a new album by A, and the first song of artist C, who then takes the "Mixed" song on
    // C's album, which the playlist names already. Changed: a retitled song. Deleted: the guest
    // song. Moved: B's song, into another folder, where the playlist no longer finds it. Gone: a
    // folder with a folder in it, and its artist E.
    writeTrack(folder.music.path(), QStringLiteral("A/Two/1.mp3"), tags(QStringLiteral("New"), QStringLiteral("A"), QStringLiteral("Two"), {}, QStringLiteral("Jazz")));
    writeTrack(folder.music.path(), QStringLiteral("C/Mix/2.mp3"), tags(QStringLiteral("Own"), QStringLiteral("C"), QStringLiteral("Mix")));
    writeTrack(folder.music.path(), QStringLiteral("A/One/1.mp3"), tags(QStringLiteral("One (Remaster)"), QStringLiteral("A"), QStringLiteral("One"), {}, QStringLiteral("Rock"), 1), {}, 1.5);
    ASSERT_TRUE(QFile::remove(folder.path(QStringLiteral("A/One/3.mp3"))));
    ASSERT_TRUE(QDir().mkpath(folder.path(QStringLiteral("B/Moved"))));
    ASSERT_EQ(std::rename(soloFile.constData(), QFile::encodeName(folder.path(QStringLiteral("B/Moved/1.mp3"))).constData()), 0);
    ASSERT_TRUE(QDir(folder.path(QStringLiteral("A/Two"))).mkpath(QStringLiteral("Empty")));
    writeTrack(folder.music.path(), QStringLiteral("D/Deep/1.mp3"), tags(QStringLiteral("Deep"), QStringLiteral("D")));
    ASSERT_TRUE(QDir(folder.path(QStringLiteral("E/Gone"))).removeRecursively());

    // The folders a watcher reports: where files came, went or were replaced.
    QSet<QByteArray> changed;
    for (const char *relative : {"A", "A/One", "B", "B/Solo", "C/Mix", "E"})
        changed.insert(QFile::encodeName(folder.path(QString::fromLatin1(relative))));
    changed.insert(QFile::encodeName(folder.music.path()));
    FolderScanner::Previous previous{firstScan.folders, firstScan.playlistFiles, [&](const QByteArray &identity) {
                                         return first.contains(LocalIdentifiers::songID(identity));
                                     }};
    const std::optional<ScanResult> partial =
        FolderScanner(folder.music.path(), folder.cache.path()).rescan(previous, changed, nullptr, folder.scanCache);
    ASSERT_TRUE(partial);
    // Only what was read is handed out.
    EXPECT_EQ(partial->tracks.size(), 5);
    ASSERT_TRUE(folder.scanCache.save());

    // A whole scan from the cache file the partial one brought up to date reads nothing new and
    // reaches the same revision.
    ASSERT_TRUE(folder.scanCache.load());
    const ScanResult scan = folder.scan();
    EXPECT_EQ(scan.readFiles, 0);
    EXPECT_EQ(partial->revision, scan.revision);
    EXPECT_EQ(partial->playlistFiles, scan.playlistFiles);
    QList<QByteArray> partialFolders = partial->folders.keys(), wholeFolders = scan.folders.keys();
    std::sort(partialFolders.begin(), partialFolders.end());
    std::sort(wholeFolders.begin(), wholeFolders.end());
    EXPECT_EQ(partialFolders, wholeFolders);

    LibraryChange change;
    const LibraryIndex updated(first, *partial, change);
    expectSameIndex(updated, LibraryIndex(scan));

    // The moved song kept its identifier and its new file.
    ASSERT_TRUE(updated.song(soloID));
    EXPECT_EQ(updated.filePath(soloID), QFile::encodeName(folder.path(QStringLiteral("B/Moved/1.mp3"))));

    QStringList changedTitles = textsOf(change.songs, &Song::title);
    changedTitles.sort();
    EXPECT_EQ(changedTitles, (QStringList{QStringLiteral("Deep"), QStringLiteral("New"), QStringLiteral("One (Remaster)"),
                                          QStringLiteral("Own"), QStringLiteral("Solo")}));
    EXPECT_EQ(change.removedSongs.size(), 2);
    EXPECT_FALSE(updated.song(change.removedSongs.value(0)));
    // A's album One lost a song and changed one, Two is new, Mix gained one; B's album is as it was.
    QStringList albumTitles = textsOf(change.albums, &Album::title);
    albumTitles.sort();
    EXPECT_EQ(albumTitles, (QStringList{QStringLiteral("Mix"), QStringLiteral("One"), QStringLiteral("Solo"), QStringLiteral("Two")}));
    EXPECT_TRUE(change.removedAlbums.isEmpty());
    // C exists now; G lost the guest song but keeps "Mixed".
    EXPECT_TRUE(idsOf(change.artists).contains(artistNamed(QStringLiteral("C")).rawValue()));
    EXPECT_TRUE(updated.artist(artistNamed(QStringLiteral("C"))));
    EXPECT_EQ(change.removedArtists, QList<MusicItemID>{artistNamed(QStringLiteral("E"))});
    // The playlist lost the moved song and found C's new one.
    EXPECT_EQ(change.playlists.size(), 1);
}

TEST(LibraryIndexUpdate, LastSongsOfAnAlbumAndAnArtistTakeThemAwayAndNothingChangedChangesNothing)
{
    Folder folder;
    writeTrack(folder.music.path(), QStringLiteral("A/1.mp3"), tags(QStringLiteral("One"), QStringLiteral("A"), QStringLiteral("Alone")));
    writeTrack(folder.music.path(), QStringLiteral("B/1.mp3"), tags(QStringLiteral("Two"), QStringLiteral("B"), QStringLiteral("Stays")));
    writeFile(folder.path(QStringLiteral("gone.m3u")), "A/1.mp3\n");
    const LibraryIndex first(folder.scan());

    // An unchanged folder: no change at all, and the same index.
    {
        const ScanResult scan = folder.scan();
        LibraryChange change;
        const LibraryIndex same(first, scan, change);
        EXPECT_TRUE(change.isEmpty());
        expectSameIndex(same, first);
    }

    ASSERT_TRUE(QFile::remove(folder.path(QStringLiteral("A/1.mp3"))));
    ASSERT_TRUE(QFile::remove(folder.path(QStringLiteral("gone.m3u"))));
    const ScanResult scan = folder.scan();
    LibraryChange change;
    const LibraryIndex updated(first, scan, change);
    expectSameIndex(updated, LibraryIndex(scan));
    EXPECT_TRUE(change.songs.isEmpty());
    EXPECT_EQ(change.removedSongs.size(), 1);
    EXPECT_EQ(change.removedAlbums.size(), 1);
    EXPECT_EQ(change.removedArtists, QList<MusicItemID>{artistNamed(QStringLiteral("A"))});
    EXPECT_EQ(change.removedPlaylists.size(), 1);
    EXPECT_EQ(updated.songs().size(), 1);
}
