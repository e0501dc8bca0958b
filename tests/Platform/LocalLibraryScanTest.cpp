// The local library on real collections: scans that read only what changed, renames seen as
// moves, names that are not UTF-8, symbolic links to folders, tags as taggers write them, and a
// folder watched while the application runs.
#include "LocalLibraryTestSupport.h"

#include "Platform/LocalLibrary/LibraryIndex.h"
#include "Platform/LocalLibrary/LocalLibraryService.h"
#include "Platform/LocalLibrary/ScanCache.h"
#include "Platform/LocalLibrary/TagText.h"
#include "Platform/Music/MusicService.h"
#include "Support/Error.h"
#include "TestKit/AsyncTest.h"

#include <QSignalSpy>
#include <QThreadPool>
#include <atomic>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <thread>
#include <unistd.h>

using namespace LocalLibraryTestSupport;

namespace {

struct Library {
    QTemporaryDir music;
    QTemporaryDir cache;
    QString folder() const { return music.path(); }
    QString cacheFile() const { return cache.filePath(QStringLiteral("scan.cache")); }
    // A scan as a new process makes it: the cache read from its file, and saved after.
    ScanResult scan() const
    {
        ScanCache scanCache(QFile::encodeName(music.path()), cacheFile());
        scanCache.load();
        ScanResult result = FolderScanner(music.path(), cache.path()).scan(nullptr, &scanCache);
        scanCache.save();
        return result;
    }
};

QStringList titlesOf(const ScanResult &scan)
{
    QStringList titles;
    for (const ScannedTrack &track : scan.tracks)
        titles.append(track.title);
    titles.sort();
    return titles;
}

// The files and identities of a scan's tracks, in its order.
QList<std::pair<QByteArray, QByteArray>> filesOf(const ScanResult &scan)
{
    QList<std::pair<QByteArray, QByteArray>> files;
    for (const ScannedTrack &track : scan.tracks)
        files.append({track.fileName, track.identity});
    return files;
}

void renameBytes(const QByteArray &from, const QByteArray &to) { ASSERT_EQ(std::rename(from.constData(), to.constData()), 0); }

} // namespace

TEST(LocalLibraryScan, ALaterScanReadsOnlyNewAndChangedFilesAndTheRevisionFollows)
{
    Library library;
    const QString f = library.folder();
    writeTrack(f, QStringLiteral("a/1.mp3"), tags(QStringLiteral("One"), QStringLiteral("A"), QStringLiteral("Album")));
    writeTrack(f, QStringLiteral("a/2.flac"), tags(QStringLiteral("Two"), QStringLiteral("A"), QStringLiteral("Album")));
    writeTrack(f, QStringLiteral("b/3.ogg"), tags(QStringLiteral("Three"), QStringLiteral("B")));
    writeFile(f + QStringLiteral("/b/broken.mp3"), QByteArray(3000, '\x11'));

    const ScanResult first = library.scan();
    EXPECT_EQ(first.readFiles, 4);
    EXPECT_EQ(first.skippedFiles, 1);
    EXPECT_EQ(titlesOf(first), (QStringList{"One", "Three", "Two"}));

    // Nothing changed: nothing is read, not even the broken file, and the songs are the same.
    const ScanResult unchanged = library.scan();
    EXPECT_EQ(unchanged.readFiles, 0);
    EXPECT_EQ(unchanged.skippedFiles, 1);
    EXPECT_EQ(unchanged.revision, first.revision);
    EXPECT_EQ(LibraryIndex(unchanged).songs(), LibraryIndex(first).songs());
    EXPECT_EQ(filesOf(unchanged), filesOf(first));

    // A retagged file and a new one are read; a deleted one leaves.
    writeTrack(f, QStringLiteral("a/2.flac"), tags(QStringLiteral("Two (Live)"), QStringLiteral("A"), QStringLiteral("Album")));
    writeTrack(f, QStringLiteral("c/4.wav"), tags(QStringLiteral("Four"), QStringLiteral("C")));
    ASSERT_TRUE(QFile::remove(f + QStringLiteral("/b/3.ogg")));
    const ScanResult changed = library.scan();
    EXPECT_EQ(changed.readFiles, 2);
    EXPECT_NE(changed.revision, first.revision);
    EXPECT_EQ(titlesOf(changed), (QStringList{"Four", "One", "Two (Live)"}));
    // The tracks read now are named by where they stand among the tracks handed out, which the
    // unreadable file before the new one does not shift.
    QStringList readNow;
    for (const qsizetype index : changed.readTracks)
        readNow.append(changed.tracks.value(index).title);
    EXPECT_EQ(readNow, (QStringList{"Two (Live)", "Four"}));
    // A retagged file is still the same song.
    EXPECT_EQ(songTitled(LibraryIndex(changed), QStringLiteral("Two (Live)"))->id,
              songTitled(LibraryIndex(first), QStringLiteral("Two"))->id);

    // A damaged cache costs a full read, nothing else.
    writeFile(library.cacheFile(), QByteArray("LVSC") + QByteArray(50, '\xff'));
    const ScanResult afterDamage = library.scan();
    EXPECT_EQ(afterDamage.readFiles, 4);
    EXPECT_EQ(titlesOf(afterDamage), titlesOf(changed));
}

TEST(LocalLibraryScan, ARenamedOrMovedFileKeepsItsIdentifier)
{
    Library library;
    const QString f = library.folder();
    writeTrack(f, QStringLiteral("in/old name.mp3"), tags(QStringLiteral("Moved"), QStringLiteral("A")));
    writeTrack(f, QStringLiteral("in/stays.mp3"), tags(QStringLiteral("Stays"), QStringLiteral("A")));
    const MusicItemID before = songTitled(LibraryIndex(library.scan()), QStringLiteral("Moved"))->id;

    ASSERT_TRUE(QDir().mkpath(f + QStringLiteral("/elsewhere")));
    ASSERT_TRUE(QFile::rename(f + QStringLiteral("/in/old name.mp3"), f + QStringLiteral("/elsewhere/new name.mp3")));
    const ScanResult moved = library.scan();
    EXPECT_EQ(moved.readFiles, 1);
    const LibraryIndex index(moved);
    ASSERT_TRUE(songTitled(index, QStringLiteral("Moved")));
    EXPECT_EQ(songTitled(index, QStringLiteral("Moved"))->id, before);
    EXPECT_EQ(QString::fromUtf8(index.filePath(before)), f + QStringLiteral("/elsewhere/new name.mp3"));

    // A new file at the old path is another song.
    writeTrack(f, QStringLiteral("in/old name.mp3"), tags(QStringLiteral("Newcomer"), QStringLiteral("B")));
    const LibraryIndex again(library.scan());
    EXPECT_EQ(songTitled(again, QStringLiteral("Moved"))->id, before);
    EXPECT_NE(songTitled(again, QStringLiteral("Newcomer"))->id, before);
    EXPECT_EQ(again.songs().size(), 3);
}

TEST(LocalLibraryScan, AScanTakesTheCachesEntriesOutOfMemoryOnlyWhenItsFileHoldsThem)
{
    Library library;
    const QString f = library.folder();
    writeTrack(f, QStringLiteral("a/1.mp3"), tags(QStringLiteral("One"), QStringLiteral("A")));
    library.scan();

    ScanCache cache(QFile::encodeName(f), library.cacheFile());
    ASSERT_TRUE(cache.load());
    EXPECT_EQ(cache.takeEntries().size(), 1);
    EXPECT_FALSE(cache.isLoaded());
    // The file still answers for its folders.
    ASSERT_TRUE(cache.readFolders({QFile::encodeName(f + QStringLiteral("/a"))}));

    // Entries not written yet are the only copy: they stay.
    cache.replace(cache.readFolders({QFile::encodeName(f + QStringLiteral("/a"))}).value());
    EXPECT_EQ(cache.takeEntries().size(), 1);
    EXPECT_EQ(cache.entries().size(), 1);
    EXPECT_TRUE(cache.isDirty());
}

TEST(LocalLibraryScan, TheCacheSharesTheRepeatedTextsItReads)
{
    Library library;
    const QString f = library.folder();
    for (const QString &name : {QStringLiteral("1"), QStringLiteral("2")})
        writeTrack(f, QStringLiteral("a/%1.mp3").arg(name), tags(name, QStringLiteral("Artist"), QStringLiteral("Album")));
    library.scan();

    ScanCache cache(QFile::encodeName(f), library.cacheFile());
    EXPECT_FALSE(cache.isLoaded());
    ASSERT_TRUE(cache.load());
    ASSERT_EQ(cache.entries().size(), 2);
    // Both songs of the album hold one copy of its album and artist texts.
    const ScannedTrack &one = *cache.entries().cbegin()->track;
    const ScannedTrack &two = *std::next(cache.entries().cbegin())->track;
    EXPECT_TRUE(one.album.isSharedWith(two.album));
    EXPECT_TRUE(one.artist.isSharedWith(two.artist));
    EXPECT_TRUE(one.artists.value(0).isSharedWith(two.artist));
    EXPECT_FALSE(one.title.isSharedWith(two.title));
}

TEST(LocalLibraryService, ARescanReadsTheCacheBackAndAMovedFileKeepsItsSong)
{
    Library library;
    const QString f = library.folder();
    writeTrack(f, QStringLiteral("in/old.mp3"), tags(QStringLiteral("Moved"), QStringLiteral("A")));
    writeTrack(f, QStringLiteral("in/stays.mp3"), tags(QStringLiteral("Stays"), QStringLiteral("A")));
    LocalLibraryService service(f, library.cache.path());
    const QList<Song> before = runTask(service.librarySongs(0, 10)).items;
    ASSERT_EQ(before.size(), 2);

    // Between scans the cache is on disk only; the rescan needs it to know the moved file.
    ASSERT_TRUE(QDir().mkpath(f + QStringLiteral("/out")));
    ASSERT_TRUE(QFile::rename(f + QStringLiteral("/in/old.mp3"), f + QStringLiteral("/out/new.mp3")));
    runTask(service.rescan());
    const QList<Song> after = runTask(service.librarySongs(0, 10)).items;
    EXPECT_EQ(after, before);
    const Song &moved = before[before[0].title == QLatin1String("Moved") ? 0 : 1];
    EXPECT_EQ(runTask(service.playableURL(*moved.playParameters)).toLocalFile(), f + QStringLiteral("/out/new.mp3"));
}

TEST(LocalLibraryScan, NamesThatAreNotUtf8AreFoundShownAndResolvedToTheirBytes)
{
    Library library;
    const QByteArray root = QFile::encodeName(library.folder());
    writeTrack(library.folder(), QStringLiteral("tmp1.mp3"), tags(QStringLiteral("Latin-1 name"), QStringLiteral("A")));
    writeTrack(library.folder(), QStringLiteral("tmp2.mp3"), tags(QStringLiteral("Odd folder"), QStringLiteral("A")));
    const QByteArray latin1 = root + "/caf\xe9.mp3";
    const QByteArray oddFolder = root + "/dir \xff";
    ASSERT_EQ(::mkdir(oddFolder.constData(), 0755), 0);
    renameBytes(root + "/tmp1.mp3", latin1);
    renameBytes(root + "/tmp2.mp3", oddFolder + "/song.mp3");
    // Two names that differ only in a byte that is not UTF-8 stay two songs.
    writeTrack(library.folder(), QStringLiteral("tmp3.mp3"), tags(QStringLiteral("Twin"), QStringLiteral("A")));
    renameBytes(root + "/tmp3.mp3", root + "/caf\xe8.mp3");

    LocalLibraryService service(library.folder(), library.cache.path());
    const QList<Song> songs = runTask(service.librarySongs(0, 10)).items;
    ASSERT_EQ(songs.size(), 3);
    QSet<MusicItemID> ids;
    for (const Song &song : songs) {
        ids.insert(song.id);
        const QUrl url = runTask(service.playableURL(*song.playParameters));
        const QByteArray bytes = QByteArray::fromPercentEncoding(url.path(QUrl::FullyEncoded).toLatin1());
        if (song.title == QLatin1String("Latin-1 name"))
            EXPECT_EQ(bytes, latin1);
        else if (song.title == QLatin1String("Odd folder"))
            EXPECT_EQ(bytes, oddFolder + "/song.mp3");
        else
            EXPECT_EQ(bytes, root + "/caf\xe8.mp3");
    }
    EXPECT_EQ(ids.size(), 3);

    // Shown with a replacement character, never dropped.
    const ScanResult scan = library.scan();
    ASSERT_EQ(scan.tracks.size(), 3);
    EXPECT_TRUE(scan.tracks.first().path().contains(QChar(0xFFFD)));

    // QTemporaryDir cannot name these to remove them.
    ::unlink(latin1.constData());
    ::unlink((root + "/caf\xe8.mp3").constData());
    ::unlink((oddFolder + "/song.mp3").constData());
    ::rmdir(oddFolder.constData());
}

TEST(LocalLibraryScan, PlaylistEntriesThatAreNotUtf8FindTheSongsTheScanFound)
{
    Library library;
    const QByteArray root = QFile::encodeName(library.folder());
    writeTrack(library.folder(), QStringLiteral("tmp1.mp3"), tags(QStringLiteral("Latin-1 name"), QStringLiteral("A")));
    writeTrack(library.folder(), QStringLiteral("tmp2.mp3"), tags(QStringLiteral("Odd byte"), QStringLiteral("A")));
    writeTrack(library.folder(), QStringLiteral("Thé.mp3"), tags(QStringLiteral("UTF-8 name"), QStringLiteral("A")));
    const QByteArray oddFolder = root + "/dir \xff";
    ASSERT_EQ(::mkdir(oddFolder.constData(), 0755), 0);
    renameBytes(root + "/tmp1.mp3", root + "/caf\xe9.mp3");
    renameBytes(root + "/tmp2.mp3", oddFolder + "/\xff.mp3");
    // Relative and absolute entries by their bytes, a file: URL with the bytes percent-encoded,
    // a Latin-1 entry for a file named in UTF-8, and a playlist whose own folder is not UTF-8.
    writeFile(library.folder() + QStringLiteral("/bytes.m3u"),
              "caf\xe9.mp3\n" + oddFolder + "/\xff.mp3\nfile://" + root.toPercentEncoding("/") + "/caf%E9.mp3\nTh\xe9.mp3\n");
    const QByteArray inOddFolder = oddFolder + "/here.m3u";
    writeFile(library.folder() + QStringLiteral("/tmp.m3u"), "\xff.mp3\n../caf\xe9.mp3\n");
    renameBytes(root + "/tmp.m3u", inOddFolder);

    const LibraryIndex index(library.scan());
    QHash<QString, MusicItemID> byTitle;
    for (const Song &song : index.songs())
        byTitle.insert(song.title, song.id);
    ASSERT_EQ(byTitle.size(), 3);
    ASSERT_EQ(index.playlists().size(), 2);
    for (const Playlist &playlist : index.playlists()) {
        QList<MusicItemID> ids;
        const std::optional<QList<Song>> tracks = index.playlistTracks(playlist.id);
        for (const Song &song : *tracks)
            ids.append(song.id);
        if (playlist.name == QLatin1String("bytes"))
            EXPECT_EQ(ids, (QList<MusicItemID>{byTitle[QStringLiteral("Latin-1 name")], byTitle[QStringLiteral("Odd byte")],
                                               byTitle[QStringLiteral("Latin-1 name")], byTitle[QStringLiteral("UTF-8 name")]}));
        else
            EXPECT_EQ(ids, (QList<MusicItemID>{byTitle[QStringLiteral("Odd byte")], byTitle[QStringLiteral("Latin-1 name")]}));
    }

    // QTemporaryDir cannot name these to remove them.
    ::unlink((root + "/caf\xe9.mp3").constData());
    ::unlink((oddFolder + "/\xff.mp3").constData());
    ::unlink(inOddFolder.constData());
    ::rmdir(oddFolder.constData());
}

TEST(LocalLibraryScan, SymbolicLinksToFoldersAreFollowedEachRealFolderOnce)
{
    Library library;
    QTemporaryDir outside;
    writeTrack(outside.path(), QStringLiteral("linked.mp3"), tags(QStringLiteral("Linked"), QStringLiteral("A")));
    writeTrack(library.folder(), QStringLiteral("own/own.mp3"), tags(QStringLiteral("Own"), QStringLiteral("A")));
    const QString f = library.folder();
    ASSERT_TRUE(QFile::link(outside.path(), f + QStringLiteral("/link to outside")));
    ASSERT_TRUE(QFile::link(outside.path(), f + QStringLiteral("/second link")));
    // A loop back to the library's own root.
    ASSERT_TRUE(QFile::link(f, f + QStringLiteral("/own/loop")));
    // A link to a file is a song too; a dangling link is nothing.
    ASSERT_TRUE(QFile::link(f + QStringLiteral("/own/own.mp3"), f + QStringLiteral("/file link.mp3")));
    ASSERT_TRUE(QFile::link(f + QStringLiteral("/gone"), f + QStringLiteral("/dangling.mp3")));

    const ScanResult scan = library.scan();
    EXPECT_EQ(titlesOf(scan), (QStringList{"Linked", "Own", "Own"}));
    EXPECT_EQ(scan.skippedFiles, 0);
}

TEST(LocalLibraryScan, TagsAreReadAsTaggersWriteThemAndCleanedForShowing)
{
    Library library;
    const QString f = library.folder();
    DemoTags::Tags riff = tags(QStringLiteral("Info Title"), QStringLiteral("Info Artist"), QStringLiteral("Info Album"));
    riff.track = 7;
    riff.riffInfoOnly = true;
    writeTrack(f, QStringLiteral("riff.wav"), riff);

    for (const QString &name : {QStringLiteral("list.mp3"), QStringLiteral("list.flac")}) {
        DemoTags::Tags several = tags(QStringLiteral("Duet ") + name, QStringLiteral("Ann"), QStringLiteral("Pairs"));
        several.moreArtists = {QStringLiteral("Bob"), QStringLiteral("ann"), QStringLiteral("Cy")};
        writeTrack(f, name, several);
    }
    for (const QString &artist : {QStringLiteral("First"), QStringLiteral("Second")}) {
        DemoTags::Tags part = tags(QStringLiteral("By ") + artist, artist, QStringLiteral("Hits of the Year"));
        part.compilation = true;
        writeTrack(f, QStringLiteral("comp/") + artist + QStringLiteral(".ogg"), part);
    }
    DemoTags::Tags hostile = tags(QStringLiteral("Line one\nline two\t\u202Eevil"), QStringLiteral("\u2066Isolated\u2069 Artist"));
    hostile.trackText = QStringLiteral("99999999999");
    hostile.disc = 3;
    writeTrack(f, QStringLiteral("hostile.flac"), hostile);

    const ScanResult scan = library.scan();
    const LibraryIndex index(scan);
    const auto track = [&](const QString &title) -> const ScannedTrack & {
        for (const ScannedTrack &t : scan.tracks)
            if (t.title == title)
                return t;
        ADD_FAILURE() << "no track " << title.toStdString();
        static const ScannedTrack none;
        return none;
    };

    const ScannedTrack &info = track(QStringLiteral("Info Title"));
    EXPECT_EQ(info.artist, QStringLiteral("Info Artist"));
    EXPECT_EQ(info.album, QStringLiteral("Info Album"));
    EXPECT_EQ(info.trackNumber, 7);

    for (const QString &name : {QStringLiteral("list.mp3"), QStringLiteral("list.flac")}) {
        const ScannedTrack &duet = track(QStringLiteral("Duet ") + name);
        EXPECT_EQ(duet.artists, (QStringList{"Ann", "Bob", "Cy"})) << name.toStdString();
        EXPECT_EQ(duet.artist, QStringLiteral("Ann, Bob & Cy")) << name.toStdString();
    }

    // One album under "Various Artists", not one per track artist.
    int compilations = 0;
    for (const Album &album : index.albums()) {
        if (album.title == QLatin1String("Hits of the Year")) {
            ++compilations;
            EXPECT_EQ(album.artistName, QStringLiteral("Various Artists"));
            EXPECT_EQ(album.trackCount, 2);
        }
    }
    EXPECT_EQ(compilations, 1);
    EXPECT_EQ(track(QStringLiteral("By First")).artist, QStringLiteral("First"));

    const ScannedTrack &cleaned = track(QStringLiteral("Line one line two evil"));
    EXPECT_EQ(cleaned.artist, QStringLiteral("Isolated Artist"));
    EXPECT_EQ(cleaned.trackNumber, TagText::largestNumber);
    EXPECT_EQ(cleaned.discNumber, 3);
}

TEST(LocalLibraryScan, JoinedArtistNamesReadAsPlayersShowThem)
{
    EXPECT_EQ(TagText::joinArtists({}), QString());
    EXPECT_EQ(TagText::joinArtists({QStringLiteral(" Solo ")}), QStringLiteral("Solo"));
    EXPECT_EQ(TagText::joinArtists({QStringLiteral("A"), QStringLiteral(""), QStringLiteral("B")}), QStringLiteral("A & B"));
    EXPECT_EQ(TagText::clean(QStringLiteral("\u202Bx\u200F  y\r\n")), QStringLiteral("x y"));
}

TEST(LocalLibraryService, FilesAddedChangedRenamedAndRemovedWhileRunningAreReadAndAnnounced)
{
    Library library;
    const QString f = library.folder();
    writeTrack(f, QStringLiteral("old/1.mp3"), tags(QStringLiteral("One"), QStringLiteral("A")));
    writeTrack(f, QStringLiteral("old/2.mp3"), tags(QStringLiteral("Two"), QStringLiteral("A")));
    writeTrack(f, QStringLiteral("other/3.mp3"), tags(QStringLiteral("Three"), QStringLiteral("B")));
    LocalLibraryService service(f, library.cache.path());
    const std::optional<QString> first = runTask(service.libraryRevision());
    ASSERT_TRUE(first);
    // Asked again with nothing changed: the same revision.
    EXPECT_EQ(runTask(service.libraryRevision()), first);

    QSignalSpy announced(&service, &MusicService::libraryDidChange);
    QSignalSpy read(&service, &LocalLibraryService::folderChangeRead);
    const auto songs = [&] {
        QHash<QString, Song> byTitle;
        for (const Song &song : runTask(service.librarySongs(0, 100)).items)
            byTitle.insert(song.title, song);
        return byTitle;
    };
    // A change may be read in more than one burst (a folder made, then its file written).
    const auto waitUntil = [&](const std::function<bool(const QHash<QString, Song> &)> &done) {
        for (int burst = 0; burst < 5 && !done(songs()); ++burst) {
            if (!read.wait(5000))
                break;
        }
        return done(songs());
    };
    const QHash<QString, Song> before = songs();

    writeTrack(f, QStringLiteral("old/4.mp3"), tags(QStringLiteral("Four"), QStringLiteral("A")));
    ASSERT_TRUE(waitUntil([](const auto &now) { return now.contains(QStringLiteral("Four")); }));
    EXPECT_GE(announced.count(), 1);
    EXPECT_NE(runTask(service.libraryRevision()), first);

    // Retagged where it stands, as a tag editor that saves in place does: the folder's entries do
    // not change, only the file's bytes. The song stays the same song.
    const MusicItemID four = songs()[QStringLiteral("Four")].id;
    QTemporaryDir elsewhere;
    writeTrack(elsewhere.path(), QStringLiteral("4.mp3"), tags(QStringLiteral("Four (Edit)"), QStringLiteral("A")));
    QFile retagged(elsewhere.filePath(QStringLiteral("4.mp3")));
    ASSERT_TRUE(retagged.open(QIODevice::ReadOnly));
    writeFile(f + QStringLiteral("/old/4.mp3"), retagged.readAll());
    ASSERT_TRUE(waitUntil([&](const auto &now) { return now.value(QStringLiteral("Four (Edit)")).id == four; }));

    // A new folder with a folder in it; one whose name is not UTF-8, and a file moved into it from
    // outside the library, which only that folder's own watch can see.
    writeTrack(f, QStringLiteral("new/deeper/5.mp3"), tags(QStringLiteral("Five"), QStringLiteral("C")));
    ASSERT_TRUE(waitUntil([](const auto &now) { return now.contains(QStringLiteral("Five")); }));
    const QByteArray oddFolder = QFile::encodeName(f) + "/new/caf\xe9";
    writeTrack(elsewhere.path(), QStringLiteral("odd/6.mp3"), tags(QStringLiteral("Six"), QStringLiteral("C")));
    renameBytes(QFile::encodeName(elsewhere.filePath(QStringLiteral("odd"))), oddFolder);
    ASSERT_TRUE(waitUntil([](const auto &now) { return now.contains(QStringLiteral("Six")); }));
    writeTrack(elsewhere.path(), QStringLiteral("7.mp3"), tags(QStringLiteral("Seven"), QStringLiteral("C")));
    renameBytes(QFile::encodeName(elsewhere.filePath(QStringLiteral("7.mp3"))), oddFolder + "/7.mp3");
    ASSERT_TRUE(waitUntil([](const auto &now) { return now.contains(QStringLiteral("Seven")); }));

    // Retagged as taggers save: written under a hidden name, then renamed over the file. The song
    // stays the same song.
    writeTrack(f, QStringLiteral("old/.saving 2.mp3"), tags(QStringLiteral("Two (Live)"), QStringLiteral("A")));
    renameBytes(QFile::encodeName(f + QStringLiteral("/old/.saving 2.mp3")), QFile::encodeName(f + QStringLiteral("/old/2.mp3")));
    ASSERT_TRUE(waitUntil([](const auto &now) { return now.contains(QStringLiteral("Two (Live)")); }));
    EXPECT_EQ(songs()[QStringLiteral("Two (Live)")].id, before[QStringLiteral("Two")].id);
    EXPECT_FALSE(songs().contains(QStringLiteral("Two")));

    // Renamed into another folder: the same song at its new file.
    ASSERT_TRUE(QFile::rename(f + QStringLiteral("/old/1.mp3"), f + QStringLiteral("/other/one.mp3")));
    const MusicItemID one = before[QStringLiteral("One")].id;
    // Until the change is read, the song names its old file, which is gone.
    const auto playedFrom = [&](const MusicItemID &id) {
        try {
            return runTask(service.playableURL(PlayParameters{id, QStringLiteral("song")})).toLocalFile();
        } catch (const MusicError &) {
            return QString();
        }
    };
    ASSERT_TRUE(waitUntil([&](const auto &now) {
        return now.value(QStringLiteral("One")).id == one && playedFrom(one) == f + QStringLiteral("/other/one.mp3");
    }));

    // Removed: a file, and the new folder with the folder in it.
    ASSERT_TRUE(QFile::remove(f + QStringLiteral("/other/3.mp3")));
    ASSERT_GT(std::filesystem::remove_all(QFile::encodeName(f + QStringLiteral("/new")).toStdString()), 0u);
    ASSERT_TRUE(waitUntil([](const auto &now) { return now.size() == 3; }));
    EXPECT_EQ(QSet<QString>(songs().keyBegin(), songs().keyEnd()),
              (QSet<QString>{QStringLiteral("One"), QStringLiteral("Two (Live)"), QStringLiteral("Four (Edit)")}));

    // A folder removed and made again at once (as a tool that replaces a folder does) is watched
    // again: a file moved into it afterwards, which only its own watch can see, is read.
    const auto landFolder = [&](const QString &name, const QString &title) {
        writeTrack(elsewhere.path(), name + QStringLiteral("/song.mp3"), tags(title, QStringLiteral("D")));
        renameBytes(QFile::encodeName(elsewhere.filePath(name)), QFile::encodeName(f + QStringLiteral("/again")));
    };
    landFolder(QStringLiteral("first"), QStringLiteral("Eight"));
    ASSERT_TRUE(waitUntil([](const auto &now) { return now.contains(QStringLiteral("Eight")); }));
    ASSERT_GT(std::filesystem::remove_all(QFile::encodeName(f + QStringLiteral("/again")).toStdString()), 0u);
    landFolder(QStringLiteral("second"), QStringLiteral("Nine"));
    ASSERT_TRUE(waitUntil([](const auto &now) { return now.contains(QStringLiteral("Nine")) && !now.contains(QStringLiteral("Eight")); }));
    writeTrack(elsewhere.path(), QStringLiteral("10.mp3"), tags(QStringLiteral("Ten"), QStringLiteral("D")));
    renameBytes(QFile::encodeName(elsewhere.filePath(QStringLiteral("10.mp3"))), QFile::encodeName(f + QStringLiteral("/again/10.mp3")));
    ASSERT_TRUE(waitUntil([](const auto &now) { return now.contains(QStringLiteral("Ten")); }));
    ASSERT_GT(std::filesystem::remove_all(QFile::encodeName(f + QStringLiteral("/again")).toStdString()), 0u);
    ASSERT_TRUE(waitUntil([](const auto &now) { return now.size() == 3; }));

    // What the changes left agrees with a reading of the whole folder: the same revision and
    // songs, and the cache on disk holds every file as it is now.
    const std::optional<QString> revision = runTask(service.libraryRevision());
    const QHash<QString, Song> after = songs();
    runTask(service.rescan());
    EXPECT_EQ(runTask(service.libraryRevision()), revision);
    EXPECT_EQ(songs(), after);
    ScanCache cache(QFile::encodeName(f), service.scanCacheFile());
    ASSERT_TRUE(cache.load());
    EXPECT_EQ(FolderScanner(f, library.cache.path()).scan(nullptr, &cache).readFiles, 0);
}

TEST(LocalLibraryService, EveryFolderOfALargeLibraryIsWatched)
{
    // The watches of a library with many folders are set a slice per turn of the event loop: a
    // change in any of them, whichever slice it fell into, is still seen.
    Library library;
    const QString f = library.folder();
    constexpr int folders = 1000;
    for (int i = 0; i < folders; ++i)
        ASSERT_TRUE(QDir(f).mkpath(QStringLiteral("album %1").arg(i)));
    writeTrack(f, QStringLiteral("album 0/first.mp3"), tags(QStringLiteral("First"), QStringLiteral("A")));
    LocalLibraryService service(f, library.cache.path());
    ASSERT_TRUE(runTask(service.libraryRevision()));
    // Turns of the event loop set the remaining slices, a few milliseconds' worth each.
    for (int turn = 0; turn < 500; ++turn)
        QCoreApplication::processEvents();
    QSignalSpy read(&service, &LocalLibraryService::folderChangeRead);
    int songs = 1;
    for (const int i : {999, 803, 611, 452, 207, 64}) {
        writeTrack(f, QStringLiteral("album %1/new.mp3").arg(i), tags(QStringLiteral("New %1").arg(i), QStringLiteral("A")));
        ASSERT_TRUE(read.wait(5000)) << "no change seen in folder " << i;
        EXPECT_EQ(runTask(service.librarySongs(0, 10)).totalCount, ++songs);
    }
}

TEST(LocalLibraryService, TheUnavailableReasonNamesTheFolderAndWhatIsWrong)
{
    QTemporaryDir parent;
    const QString missing = parent.filePath(QStringLiteral("Music"));
    LocalLibraryService service(missing, parent.filePath(QStringLiteral("cache")));
    EXPECT_EQ(runTask(service.requestAuthorization()), MusicAuthorizationStatus::denied);
    EXPECT_TRUE(service.unavailableReason().contains(missing));
    EXPECT_TRUE(service.unavailableReason().contains(QStringLiteral("does not exist")));

    writeFile(parent.filePath(QStringLiteral("file")), "x");
    LocalLibraryService onFile(parent.filePath(QStringLiteral("file")), parent.filePath(QStringLiteral("cache")));
    EXPECT_TRUE(onFile.unavailableReason().contains(QStringLiteral("is not a folder")));

    // Try Again looks again: the folder appears (a disk is connected).
    ASSERT_TRUE(QDir().mkpath(missing));
    EXPECT_EQ(runTask(service.requestAuthorization()), MusicAuthorizationStatus::authorized);
    EXPECT_EQ(service.unavailableReason(), QString());
}

TEST(LocalLibraryService, UpdateLibraryReadsTagsAgainThatKeptTheFilesSizeAndTime)
{
    Library library;
    const QString f = library.folder();
    const QString name = QStringLiteral("a/song.mp3");
    writeTrack(f, name, tags(QStringLiteral("Before"), QStringLiteral("A")));
    LocalLibraryService service(f, library.cache.path());
    ASSERT_EQ(runTask(service.librarySongs(0, 10)).items.first().title, QStringLiteral("Before"));

    // A tag editor that writes in place and keeps the size and the modification time.
    QTemporaryDir retagged;
    writeTrack(retagged.path(), name, tags(QStringLiteral("Afters"), QStringLiteral("A")));
    const std::filesystem::path original(QFile::encodeName(f + u'/' + name).toStdString());
    const auto modified = std::filesystem::last_write_time(original);
    QFile replacement(retagged.filePath(name));
    ASSERT_TRUE(replacement.open(QIODevice::ReadOnly));
    const QByteArray bytes = replacement.readAll();
    ASSERT_EQ(bytes.size(), qint64(std::filesystem::file_size(original)));
    {
        QFile target(f + u'/' + name);
        ASSERT_TRUE(target.open(QIODevice::ReadWrite));
        target.write(bytes);
    }
    std::filesystem::last_write_time(original, modified);

    // The automatic paths trust size and time; Update Library does not.
    runTask(service.rescan());
    EXPECT_EQ(runTask(service.librarySongs(0, 10)).items.first().title, QStringLiteral("Before"));
    const QList<Song> before = runTask(service.librarySongs(0, 10)).items;
    runTask(service.readLibraryAgain());
    const QList<Song> after = runTask(service.librarySongs(0, 10)).items;
    ASSERT_EQ(after.size(), 1);
    EXPECT_EQ(after.first().title, QStringLiteral("Afters"));
    EXPECT_EQ(after.first().id, before.first().id);
}

// Qt's raster engine hands parts of large fills to its global pool and the painting thread waits
// for them: a scan holding that pool's threads froze the window. Reading tags and building the
// index run on the library's own pool.
TEST(LocalLibraryScan, ReadingAndIndexingLeaveQtsGlobalPoolFree)
{
    QTemporaryDir music, cache;
    // Enough files for several reading threads; unreadable ones cost TagLib as little as can be.
    for (int i = 0; i < 400; ++i)
        writeFile(music.filePath(QStringLiteral("Album %1/Track %2.mp3").arg(i / 20).arg(i)), QByteArray(512, 'x'));
    std::atomic<bool> done = false;
    int read = -1;
    std::thread scanning([&] {
        const ScanResult scan = FolderScanner(music.path(), cache.path()).scan();
        const LibraryIndex index(scan);
        read = scan.readFiles;
        done = true;
    });
    int busiest = 0;
    while (!done)
        busiest = std::max(busiest, QThreadPool::globalInstance()->activeThreadCount());
    scanning.join();
    EXPECT_EQ(busiest, 0);
    EXPECT_EQ(read, 400);
}
