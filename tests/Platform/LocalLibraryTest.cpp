// The local music folder as a music service: real files written with the demo encoders, read back
// through TagLib, grouped, listed, and turned into recommendations.
#include "LocalLibraryTestSupport.h"

#include "Platform/LocalLibrary/LibraryIndex.h"
#include "Platform/LocalLibrary/LocalIdentifiers.h"
#include "Platform/LocalLibrary/LocalLibraryService.h"
#include "Platform/LocalLibrary/LocalRecommendations.h"
#include "Platform/LocalLibrary/PlaylistFileReader.h"
#include "Support/Error.h"
#include "Support/UserDefaults.h"
#include "TestKit/AsyncTest.h"
#include "TestKit/Lists.h"

#include <QCryptographicHash>
#include <QSet>
#include <QSignalSpy>
#include <QStandardPaths>

using namespace LocalLibraryTestSupport;

namespace {

const ScannedTrack *trackNamed(const ScanResult &scan, const QString &fileName)
{
    for (const ScannedTrack &track : scan.tracks) {
        if (QFileInfo(track.path()).fileName() == fileName)
            return &track;
    }
    return nullptr;
}


QStringList titles(const QList<Song> &songs) { return textsOf(songs, &Song::title); }

struct Library {
    QTemporaryDir music;
    QTemporaryDir cache;
    QString folder() const { return music.path(); }
    ScanResult scan() const { return FolderScanner(music.path(), cache.path()).scan(); }
};

} // namespace

TEST(LocalLibrary, ReadsTheTagsOfEveryWritableFormat)
{
    Library library;
    writeTrack(library.folder(), QStringLiteral("a/Crème.mp3"),
               tags(QStringLiteral("Crème brûlée"), QStringLiteral("Les Étoiles"), QStringLiteral("Café Noir"),
                    QStringLiteral("Les Étoiles & Friends"), QStringLiteral("Jazz"), 3, 1, QStringLiteral("2016-04-22")));
    writeTrack(library.folder(), QStringLiteral("b/kyoto.flac"),
               tags(QStringLiteral("Kyōto Express"), QStringLiteral("Kōji Tanaka"), QStringLiteral("Electric Dreams Vol. 2"),
                    {}, QStringLiteral("Electronic"), 12, 2, QStringLiteral("2022")),
               {}, 2.0);
    writeTrack(library.folder(), QStringLiteral("c/song.ogg"),
               tags(QStringLiteral("Año 2000"), QStringLiteral("Mariana Quiroga"), QStringLiteral("Señales"), {},
                    QStringLiteral("Latin"), 7, 0, QStringLiteral("2018-09")));
    writeTrack(library.folder(), QStringLiteral("d/Untitled Sketch 4.wav"),
               tags({}, QStringLiteral("Nobody"), {}, {}, {}, 0, 0, {}), {}, 1.5);

    const ScanResult scan = library.scan();
    ASSERT_EQ(scan.tracks.size(), 4);
    EXPECT_EQ(scan.skippedFiles, 0);

    const ScannedTrack *mp3 = trackNamed(scan, QStringLiteral("Crème.mp3"));
    ASSERT_TRUE(mp3);
    EXPECT_EQ(mp3->title, QStringLiteral("Crème brûlée"));
    EXPECT_EQ(mp3->artist, QStringLiteral("Les Étoiles"));
    EXPECT_EQ(mp3->album, QStringLiteral("Café Noir"));
    EXPECT_EQ(mp3->albumArtist, QStringLiteral("Les Étoiles & Friends"));
    EXPECT_EQ(mp3->genre, QStringLiteral("Jazz"));
    EXPECT_EQ(mp3->trackNumber, 3);
    EXPECT_EQ(mp3->discNumber, 1);
    EXPECT_EQ(mp3->releaseDate, QDateTime(QDate(2016, 4, 22), QTime(0, 0), Qt::UTC));
    EXPECT_NEAR(mp3->duration, 1.0, 0.15);
    EXPECT_EQ(mp3->identity, QStringLiteral("a/Crème.mp3").toUtf8());

    const ScannedTrack *flac = trackNamed(scan, QStringLiteral("kyoto.flac"));
    ASSERT_TRUE(flac);
    EXPECT_EQ(flac->title, QStringLiteral("Kyōto Express"));
    EXPECT_EQ(flac->albumArtist, QString());
    EXPECT_EQ(flac->trackNumber, 12);
    EXPECT_EQ(flac->discNumber, 2);
    EXPECT_EQ(flac->releaseDate, QDateTime(QDate(2022, 1, 1), QTime(0, 0), Qt::UTC));
    EXPECT_NEAR(flac->duration, 2.0, 0.05);

    const ScannedTrack *ogg = trackNamed(scan, QStringLiteral("song.ogg"));
    ASSERT_TRUE(ogg);
    EXPECT_EQ(ogg->title, QStringLiteral("Año 2000"));
    EXPECT_EQ(ogg->genre, QStringLiteral("Latin"));
    EXPECT_EQ(ogg->trackNumber, 7);
    EXPECT_FALSE(ogg->discNumber);
    EXPECT_EQ(ogg->releaseDate, QDateTime(QDate(2018, 9, 1), QTime(0, 0), Qt::UTC));
    EXPECT_NEAR(ogg->duration, 1.0, 0.1);

    // No title tag: the file name stands in.
    const ScannedTrack *wav = trackNamed(scan, QStringLiteral("Untitled Sketch 4.wav"));
    ASSERT_TRUE(wav);
    EXPECT_EQ(wav->title, QStringLiteral("Untitled Sketch 4"));
    EXPECT_EQ(wav->artist, QStringLiteral("Nobody"));
    EXPECT_FALSE(wav->trackNumber);
    EXPECT_FALSE(wav->releaseDate);
    EXPECT_NEAR(wav->duration, 1.5, 0.01);
    EXPECT_EQ(wav->modified, QFileInfo(wav->path()).lastModified().toUTC());
}

TEST(LocalLibrary, UnreadableFilesAreSkippedAndTheRestIsKept)
{
    Library library;
    writeTrack(library.folder(), QStringLiteral("good.flac"), tags(QStringLiteral("Good"), QStringLiteral("A")));
    writeFile(library.folder() + QStringLiteral("/text.mp3"), QByteArray("this is not audio\n").repeated(50));
    writeFile(library.folder() + QStringLiteral("/empty.flac"), {});
    writeFile(library.folder() + QStringLiteral("/zeros.ogg"), QByteArray(4096, '\0'));
    writeFile(library.folder() + QStringLiteral("/garbage.m4a"), QByteArray("\x00\x00\x00\x18" "ftypM4A junk", 16));
    writeFile(library.folder() + QStringLiteral("/notes.txt"), "not music");
    // A track cut short after its headers.
    writeTrack(library.folder(), QStringLiteral("whole.ogg"), tags(QStringLiteral("Whole"), QStringLiteral("A")));
    QFile whole(library.folder() + QStringLiteral("/whole.ogg"));
    ASSERT_TRUE(whole.open(QIODevice::ReadOnly));
    writeFile(library.folder() + QStringLiteral("/cut.ogg"), whole.read(60));
    whole.close();

    const ScanResult scan = library.scan();
    EXPECT_EQ(textsOf(scan.tracks, [](const ScannedTrack &track) { return QFileInfo(track.path()).fileName(); }), (QStringList{QStringLiteral("good.flac"), QStringLiteral("whole.ogg")}));
    EXPECT_EQ(scan.skippedFiles, 5);
}

TEST(LocalLibrary, GroupsAlbumsByAlbumArtistAndTitleAndArtistsByTrackAndAlbumArtist)
{
    Library library;
    const QString f = library.folder();
    // Two albums that share a title but not an artist.
    writeTrack(f, QStringLiteral("a/1.flac"), tags(QStringLiteral("A one"), QStringLiteral("Band A"), QStringLiteral("Greatest Hits"), {}, QStringLiteral("Rock"), 1));
    writeTrack(f, QStringLiteral("b/1.flac"), tags(QStringLiteral("B one"), QStringLiteral("Band B"), QStringLiteral("Greatest Hits"), {}, QStringLiteral("Pop"), 1));
    // A guest on Band A's album: the song is on Band A's album and among Band A's songs.
    writeTrack(f, QStringLiteral("a/2.flac"), tags(QStringLiteral("A two"), QStringLiteral("Band A feat. Singer C"), QStringLiteral("Greatest Hits"), QStringLiteral("Band A"), QStringLiteral("Rock"), 2));
    // A compilation: one album under its album artist whatever the track artists, however the
    // album artist is capitalised, in disc and track order whatever the file names.
    writeTrack(f, QStringLiteral("mix/z.ogg"), tags(QStringLiteral("Opener"), QStringLiteral("Singer C"), QStringLiteral("Mixtape"), QStringLiteral("Various Artists"), QStringLiteral("Pop"), 1, 1));
    writeTrack(f, QStringLiteral("mix/a.ogg"), tags(QStringLiteral("Closer"), QStringLiteral("Band A"), QStringLiteral("Mixtape"), QStringLiteral("various artists"), QStringLiteral("Pop"), 1, 2));
    writeTrack(f, QStringLiteral("mix/m.ogg"), tags(QStringLiteral("Middle"), QStringLiteral("Band B"), QStringLiteral("Mixtape"), QStringLiteral("Various Artists"), QStringLiteral("Pop"), 2, 1));
    // A single without an album.
    writeTrack(f, QStringLiteral("single.mp3"), tags(QStringLiteral("Loose"), QStringLiteral("Band A")));

    const LibraryIndex index(library.scan());
    ASSERT_EQ(index.songs().size(), 7);
    ASSERT_EQ(index.albums().size(), 3);

    QMap<QString, Album> albums;
    for (const Album &album : index.albums())
        albums.insert(album.title + u'/' + album.artistName.value_or(QString()), album);
    ASSERT_TRUE(albums.contains(QStringLiteral("Greatest Hits/Band A")));
    ASSERT_TRUE(albums.contains(QStringLiteral("Greatest Hits/Band B")));
    ASSERT_EQ(albums.firstKey(), QStringLiteral("Greatest Hits/Band A"));
    EXPECT_EQ(albums.first().trackCount, 2);
    const Album mixtape = albums.last();
    EXPECT_EQ(mixtape.title, QStringLiteral("Mixtape"));
    EXPECT_EQ(mixtape.trackCount, 3);
    EXPECT_EQ(titles(*index.albumTracks(mixtape.id)), (QStringList{QStringLiteral("Opener"), QStringLiteral("Middle"), QStringLiteral("Closer")}));

    // Artists come from the track artists; the album artist of a compilation is not one of them.
    // An artist's songs are theirs as track artist or as album artist.
    QStringList artistNames = textsOf(index.artists(), &Artist::name);
    artistNames.sort();
    EXPECT_EQ(artistNames, (QStringList{QStringLiteral("Band A"), QStringLiteral("Band A feat. Singer C"), QStringLiteral("Band B"),
                                        QStringLiteral("Singer C")}));
    for (const Artist &artist : index.artists()) {
        if (artist.name != QLatin1String("Band A"))
            continue;
        // Grouped by album, albums by title, songs without an album last.
        EXPECT_EQ(titles(*index.artistTracks(artist.id)),
                  (QStringList{QStringLiteral("A one"), QStringLiteral("A two"), QStringLiteral("Closer"), QStringLiteral("Loose")}));
        EXPECT_EQ(artist.genreNames.value(0), QStringLiteral("Rock"));
    }
    EXPECT_FALSE(index.albumTracks(MusicItemID(QStringLiteral("al.0000000000000000"))));
}

// Hundreds of names make the grouping's tables of name keys grow while keys are compared (under
// the address sanitizer, a key kept by reference across a growth is caught here).
TEST(LocalLibrary, ManyNamesGroupAsFewDo)
{
    ScanResult scan;
    for (int i = 0; i < 400; ++i) {
        ScannedTrack track;
        track.fileName = "/music/" + QByteArray::number(i) + ".mp3";
        track.identity = track.fileName.mid(7);
        track.title = QStringLiteral("Song %1").arg(i);
        track.artist = QStringLiteral("Artist %1").arg(i);
        track.artists = {track.artist};
        track.album = QStringLiteral("Album %1").arg(i / 2);
        // Every other song is filed under a band of its own, which has no song of its own.
        if (i % 2)
            track.albumArtist = QStringLiteral("Band %1").arg(i);
        scan.tracks.append(track);
    }
    const LibraryIndex index(scan);
    EXPECT_EQ(index.songCount(), 400);
    EXPECT_EQ(index.albums().size(), 400) << "each album title under two album artists";
    EXPECT_EQ(index.artists().size(), 400) << "bands without songs of their own are no artists";
}

TEST(LocalLibrary, PlaylistFilesKeepTheirOrderAndSkipWhatIsMissing)
{
    Library library;
    const QString f = library.folder();
    writeTrack(f, QStringLiteral("Music/One.mp3"), tags(QStringLiteral("One"), QStringLiteral("A")));
    writeTrack(f, QStringLiteral("Music/Two.flac"), tags(QStringLiteral("Two"), QStringLiteral("A")));
    writeTrack(f, QStringLiteral("Music/Thré é.ogg"), tags(QStringLiteral("Three"), QStringLiteral("A")));
    writeFile(f + QStringLiteral("/Music/broken.mp3"), "not audio");

    const QString absoluteTwo = f + QStringLiteral("/Music/Two.flac");
    const QByteArray m3u = "\xEF\xBB\xBF#EXTM3U\r\n"
                           "#EXTINF:1,A - Three\r\n"
                           "../Music/Thr\xC3\xA9 \xC3\xA9.ogg\r\n"
                           "\r\n"
                           "#EXTINF:1,A - Missing\r\n"
                           "../Music/Gone.mp3\r\n"
                           "http://example.com/stream.mp3\r\n"
                           + absoluteTwo.toUtf8() + "\r\n"
                           "../Music/broken.mp3\r\n"
                           + QUrl::fromLocalFile(f + QStringLiteral("/Music/One.mp3")).toEncoded() + "\r\n"
                           "../Music/One.mp3\r\n";
    writeFile(f + QStringLiteral("/Lists/Road Trip.m3u"), m3u);
    writeFile(f + QStringLiteral("/named.m3u8"), "#EXTM3U\n#PLAYLIST:Évening Calm\nMusic/Two.flac\n");
    writeFile(f + QStringLiteral("/Empty.m3u"), "");

    const LibraryIndex index(library.scan());
    ASSERT_EQ(index.playlists().size(), 3);
    QMap<QString, Playlist> playlists;
    for (const Playlist &playlist : index.playlists())
        playlists.insert(playlist.name, playlist);
    ASSERT_TRUE(playlists.contains(QStringLiteral("Road Trip")));
    ASSERT_TRUE(playlists.contains(QStringLiteral("Évening Calm")));
    ASSERT_TRUE(playlists.contains(QStringLiteral("Empty")));
    EXPECT_EQ(titles(*index.playlistTracks(playlists[QStringLiteral("Road Trip")].id)),
              (QStringList{QStringLiteral("Three"), QStringLiteral("Two"), QStringLiteral("One"), QStringLiteral("One")}));
    EXPECT_EQ(titles(*index.playlistTracks(playlists[QStringLiteral("Évening Calm")].id)), QStringList{QStringLiteral("Two")});
    EXPECT_TRUE(index.playlistTracks(playlists[QStringLiteral("Empty")].id)->isEmpty());
    EXPECT_EQ(playlists[QStringLiteral("Road Trip")].playParameters->kind, QStringLiteral("playlist"));

    // Latin-1 text in an old .m3u still finds its file.
    const ScannedPlaylist latin1 = PlaylistFileReader::parse("Music/Thr\xE9 \xE9.ogg\n", QFile::encodeName(f), QStringLiteral("old.m3u"));
    EXPECT_EQ(latin1.trackPaths, QList<QByteArray>{QFile::encodeName(f + QStringLiteral("/Music/Thré é.ogg"))});
}

TEST(LocalLibrary, IdentifiersAreStableAcrossScansAndFoldersAndDistinctAcrossKinds)
{
    Library library;
    const QString f = library.folder();
    writeTrack(f, QStringLiteral("x/1.mp3"), tags(QStringLiteral("Same"), QStringLiteral("Same"), QStringLiteral("Same"), {}, QStringLiteral("Jazz")));
    writeTrack(f, QStringLiteral("x/2.mp3"), tags(QStringLiteral("Other"), QStringLiteral("Same"), QStringLiteral("Same"), {}, QStringLiteral("Jazz")));
    writeFile(f + QStringLiteral("/Same.m3u"), "x/1.mp3\n");

    const LibraryIndex first(library.scan());
    // Another scan of the same folder, and a scan of a copy elsewhere, give the same identifiers.
    const LibraryIndex second(library.scan());
    EXPECT_EQ(first.songs(), second.songs());
    EXPECT_EQ(first.albums(), second.albums());
    EXPECT_EQ(first.artists(), second.artists());
    EXPECT_EQ(first.playlists(), second.playlists());

    QTemporaryDir copy;
    QDir().mkpath(copy.path() + QStringLiteral("/x"));
    for (const QString &name : {QStringLiteral("x/1.mp3"), QStringLiteral("x/2.mp3"), QStringLiteral("Same.m3u")})
        ASSERT_TRUE(QFile::copy(f + u'/' + name, copy.path() + u'/' + name));
    const LibraryIndex moved(FolderScanner(copy.path(), library.cache.path()).scan());
    ASSERT_EQ(moved.songs().size(), 2);
    for (qsizetype i = 0; i < 2; ++i)
        EXPECT_EQ(moved.songs()[i].id, first.songs()[i].id);
    EXPECT_EQ(moved.albums().first().id, first.albums().first().id);
    EXPECT_EQ(moved.artists().first().id, first.artists().first().id);
    EXPECT_EQ(moved.playlists().first().id, first.playlists().first().id);

    // One name ("Same") for a song, an album, an artist and a playlist: four different identifiers.
    const LocalRecommendations recommendations(first);
    QSet<QString> ids;
    qsizetype count = 0;
    const auto add = [&](const MusicItemID &id) {
        ids.insert(id.rawValue());
        ++count;
    };
    for (const Song &s : first.songs())
        add(s.id);
    for (const Album &a : first.albums())
        add(a.id);
    for (const Artist &a : first.artists())
        add(a.id);
    for (const Playlist &p : first.playlists())
        add(p.id);
    for (const MusicPersonalRecommendation &group : recommendations.groups()) {
        add(group.id);
        for (const MusicPersonalRecommendation::Item &item : group.items)
            add(item.id());
    }
    EXPECT_EQ(ids.size(), count);
    EXPECT_TRUE(LocalIdentifiers::hasKind(first.songs().first().id, LocalIdentifiers::song));
    EXPECT_TRUE(LocalIdentifiers::hasKind(first.albums().first().id, LocalIdentifiers::album));
    EXPECT_FALSE(LocalIdentifiers::hasKind(first.albums().first().id, LocalIdentifiers::artist));

    // The index keeps identifiers as numbers: one of another kind, or bent out of shape, finds
    // nothing, even where its number is that of an item.
    const QString songID = first.songs().first().id.rawValue();
    const QString albumID = first.albums().first().id.rawValue();
    const QString artistID = first.artists().first().id.rawValue();
    EXPECT_TRUE(first.song(MusicItemID(songID)));
    for (const QString &bent : {QStringLiteral("al") + songID.mid(1), songID.toUpper(), songID + u'0', songID.chopped(1),
                                QStringLiteral("s.") + albumID.mid(3), QString()})
        EXPECT_FALSE(first.song(MusicItemID(bent)) || first.contains(MusicItemID(bent))) << bent.toStdString();
    EXPECT_FALSE(first.albumTracks(MusicItemID(QStringLiteral("ar") + albumID.mid(2))));
    EXPECT_FALSE(first.artistTracks(MusicItemID(QStringLiteral("al") + artistID.mid(2))));
    EXPECT_FALSE(first.artist(MusicItemID(albumID)));
    EXPECT_TRUE(first.artist(MusicItemID(artistID)));
}

TEST(LocalLibrary, ArtworkComesFromEmbeddedPicturesOrACoverBesideTheFiles)
{
    Library library;
    const QString f = library.folder();
    const QByteArray embedded = cover(1);
    const QByteArray beside = cover(2);
    ASSERT_NE(embedded, beside);
    writeTrack(f, QStringLiteral("emb/1.mp3"), tags(QStringLiteral("E1"), QStringLiteral("A"), QStringLiteral("Embedded")), embedded);
    writeTrack(f, QStringLiteral("emb/2.flac"), tags(QStringLiteral("E2"), QStringLiteral("A"), QStringLiteral("Embedded")), embedded);
    writeTrack(f, QStringLiteral("emb/3.ogg"), tags(QStringLiteral("E3"), QStringLiteral("A"), QStringLiteral("Embedded")), embedded);
    writeTrack(f, QStringLiteral("side/1.ogg"), tags(QStringLiteral("S1"), QStringLiteral("B"), QStringLiteral("Beside")));
    writeFile(f + QStringLiteral("/side/Folder.JPG"), cover(3));
    writeFile(f + QStringLiteral("/side/cover.jpg"), beside);
    writeTrack(f, QStringLiteral("none/1.ogg"), tags(QStringLiteral("N1"), QStringLiteral("C"), QStringLiteral("Bare")));

    const ScanResult scan = library.scan();
    const LibraryIndex index(scan);

    // The three embedded pictures are one picture, extracted once into the cache folder.
    const QStringList cached = QDir(library.cache.path()).entryList(QDir::Files);
    ASSERT_EQ(cached.size(), 1);
    const QString cachedPath = library.cache.path() + u'/' + cached.first();
    QFile cachedFile(cachedPath);
    ASSERT_TRUE(cachedFile.open(QIODevice::ReadOnly));
    EXPECT_EQ(cachedFile.readAll(), embedded);
    EXPECT_TRUE(cachedPath.endsWith(QLatin1String(".jpg")));

    for (const QString &title : {QStringLiteral("E1"), QStringLiteral("E2"), QStringLiteral("E3")}) {
        const auto song = songTitled(index, title);
        ASSERT_TRUE(song && song->artwork) << title.toStdString();
        EXPECT_EQ(song->artwork->url(100, 100), QUrl::fromLocalFile(cachedPath));
    }
    // "cover" is preferred over "folder".
    const auto side = songTitled(index, QStringLiteral("S1"));
    ASSERT_TRUE(side && side->artwork);
    EXPECT_EQ(side->artwork->url(100, 100), QUrl::fromLocalFile(f + QStringLiteral("/side/cover.jpg")));
    EXPECT_FALSE(songTitled(index, QStringLiteral("N1"))->artwork);

    for (const Album &album : index.albums()) {
        if (album.title == QLatin1String("Bare"))
            EXPECT_FALSE(album.artwork);
        else
            EXPECT_EQ(album.artwork, songTitled(index, album.title == QLatin1String("Beside") ? QStringLiteral("S1") : QStringLiteral("E1"))->artwork);
    }

    // A second scan finds the cached picture and writes nothing new.
    const ScanResult again = library.scan();
    EXPECT_EQ(QDir(library.cache.path()).entryList(QDir::Files), cached);
    EXPECT_EQ(trackNamed(again, QStringLiteral("2.flac"))->artworkPath, cachedPath);
}

TEST(LocalLibraryService, AuthorizationFollowsTheFolder)
{
    QTemporaryDir parent;
    const QString folder = parent.path() + QStringLiteral("/Music");
    LocalLibraryService service(folder, parent.path() + QStringLiteral("/cache"));
    EXPECT_EQ(service.authorizationStatus(), MusicAuthorizationStatus::denied);
    EXPECT_EQ(runTask(service.requestAuthorization()), MusicAuthorizationStatus::denied);
    EXPECT_THROW(runTask(service.librarySongs(0, 10)), MusicError);

    ASSERT_TRUE(QDir().mkpath(folder));
    EXPECT_EQ(runTask(service.requestAuthorization()), MusicAuthorizationStatus::authorized);
    const LibraryPage<Song> page = runTask(service.librarySongs(0, 10));
    EXPECT_TRUE(page.items.isEmpty());
    EXPECT_EQ(page.totalCount, 0);

    // The window names the folder, and no streaming service, in its texts.
    EXPECT_EQ(service.displayName(), QStringLiteral("Music"));
    EXPECT_EQ(service.catalogLabel(), QStringLiteral("Catalog"));
    EXPECT_TRUE(service.playFailureAdvice().contains(folder));
    EXPECT_FALSE(service.playFailureAdvice().contains(QStringLiteral("Internet")));
    EXPECT_EQ(LocalLibraryService(QStringLiteral("/"), parent.path()).displayName(), QStringLiteral("/"));

    // There is no catalog behind a music folder.
    const CatalogSearchResponse catalog = runTask(service.searchCatalog(QStringLiteral("anything"), 25));
    EXPECT_TRUE(catalog.songs.isEmpty() && catalog.albums.isEmpty() && catalog.artists.isEmpty() && catalog.playlists.isEmpty());

    // A file is not a folder.
    QFile file(parent.path() + QStringLiteral("/file"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    LocalLibraryService onFile(file.fileName(), parent.path() + QStringLiteral("/cache"));
    EXPECT_EQ(onFile.authorizationStatus(), MusicAuthorizationStatus::denied);
}

TEST(LocalLibraryService, ListsPagesPlaysFilesAndRescans)
{
    Library library;
    const QString f = library.folder();
    writeTrack(f, QStringLiteral("1.flac"), tags(QStringLiteral("One"), QStringLiteral("A"), QStringLiteral("Album")));
    writeTrack(f, QStringLiteral("2.flac"), tags(QStringLiteral("Two"), QStringLiteral("A"), QStringLiteral("Album")));
    writeTrack(f, QStringLiteral("3.flac"), tags(QStringLiteral("Three"), QStringLiteral("B")));
    LocalLibraryService service(f, library.cache.path());

    const LibraryPage<Song> first = runTask(service.librarySongs(0, 2));
    const LibraryPage<Song> rest = runTask(service.librarySongs(2, 2));
    EXPECT_EQ(first.totalCount, 3);
    EXPECT_EQ(first.items.size(), 2);
    EXPECT_TRUE(first.hasMore());
    EXPECT_EQ(rest.items.size(), 1);
    EXPECT_FALSE(rest.hasMore());

    const Song song = rest.items.first();
    EXPECT_EQ(runTask(service.playableURL(*song.playParameters)).toLocalFile(),
              QDir(f).filePath(QStringLiteral("%1.flac").arg(song.title == QLatin1String("One") ? 1 : song.title == QLatin1String("Two") ? 2 : 3)));
    EXPECT_THROW(runTask(service.playableURL({MusicItemID(QStringLiteral("s.nothing")), QStringLiteral("song")})), MusicError);

    const Album album = runTask(service.libraryAlbums(0, 10)).items.value(0);
    EXPECT_EQ(titles(runTask(service.tracks(album))), (QStringList{QStringLiteral("One"), QStringLiteral("Two")}));
    Album unknown;
    unknown.id = MusicItemID(QStringLiteral("al.unknown"));
    EXPECT_THROW(runTask(service.tracks(unknown)), MusicError);

    // A new file appears after a rescan, and existing songs keep their identifiers.
    writeTrack(f, QStringLiteral("4.flac"), tags(QStringLiteral("Four"), QStringLiteral("B")));
    QSignalSpy changed(&service, &LocalLibraryService::libraryChanged);
    runTask(service.rescan());
    EXPECT_EQ(changed.count(), 1);
    const LibraryPage<Song> after = runTask(service.librarySongs(0, 10));
    EXPECT_EQ(after.totalCount, 4);
    EXPECT_TRUE(after.items.contains(song));

    // A removed file is reported as unplayable, not handed to the player.
    ASSERT_TRUE(QFile::remove(runTask(service.playableURL(*song.playParameters)).toLocalFile()));
    EXPECT_THROW(runTask(service.playableURL(*song.playParameters)), MusicError);
}

TEST(LocalLibraryService, RecommendsMixesAndEndlessGenreStations)
{
    Library library;
    const QString f = library.folder();
    // Five jazz songs, three rock songs, one ambient; the newest files are the rock ones.
    for (int i = 0; i < 5; ++i)
        writeTrack(f, QStringLiteral("jazz/%1.ogg").arg(i), tags(QStringLiteral("Jazz %1").arg(i), QStringLiteral("J"), QStringLiteral("Blue"), {}, QStringLiteral("Jazz"), i + 1));
    for (int i = 0; i < 3; ++i)
        writeTrack(f, QStringLiteral("rock/%1.ogg").arg(i), tags(QStringLiteral("Rock %1").arg(i), QStringLiteral("R"), QStringLiteral("Loud"), {}, QStringLiteral("Rock"), i + 1));
    writeTrack(f, QStringLiteral("calm.ogg"), tags(QStringLiteral("Calm"), QStringLiteral("C"), {}, {}, QStringLiteral("Ambient")));
    const QDateTime base(QDate(2025, 1, 1), QTime(12, 0), Qt::UTC);
    int age = 0;
    for (const QString &name : {QStringLiteral("rock/2.ogg"), QStringLiteral("rock/1.ogg"), QStringLiteral("rock/0.ogg"), QStringLiteral("calm.ogg"),
                                QStringLiteral("jazz/0.ogg"), QStringLiteral("jazz/1.ogg"), QStringLiteral("jazz/2.ogg"), QStringLiteral("jazz/3.ogg"), QStringLiteral("jazz/4.ogg")}) {
        QFile file(f + u'/' + name);
        ASSERT_TRUE(file.open(QIODevice::ReadWrite));
        ASSERT_TRUE(file.setFileTime(base.addDays(-age++), QFileDevice::FileModificationTime));
    }

    LocalLibraryService service(f, library.cache.path());
    const QList<MusicPersonalRecommendation> groups = runTask(service.personalRecommendations());
    ASSERT_EQ(groups.size(), 2);
    EXPECT_EQ(groups[0].title, QStringLiteral("Made for You"));
    EXPECT_EQ(groups[1].title, QStringLiteral("Stations for You"));

    // Made for You: the newest songs first, then a mix per genre, biggest genre first.
    QStringList mixNames;
    for (const MusicPersonalRecommendation::Item &item : groups[0].items) {
        ASSERT_TRUE(std::holds_alternative<Playlist>(item.value));
        mixNames.append(item.title());
    }
    EXPECT_EQ(mixNames, (QStringList{QStringLiteral("Recently Added Mix"), QStringLiteral("Jazz Mix"), QStringLiteral("Rock Mix"), QStringLiteral("Ambient Mix")}));
    const QList<Song> recent = runTask(service.tracks(std::get<Playlist>(groups[0].items[0].value)));
    EXPECT_EQ(titles(recent.mid(0, 4)), (QStringList{QStringLiteral("Rock 2"), QStringLiteral("Rock 1"), QStringLiteral("Rock 0"), QStringLiteral("Calm")}));
    EXPECT_EQ(recent.size(), 9);
    const QList<Song> jazzMix = runTask(service.tracks(std::get<Playlist>(groups[0].items[1].value)));
    EXPECT_EQ(jazzMix.size(), 5);
    for (const Song &song : jazzMix)
        EXPECT_EQ(song.genreNames, QStringList{QStringLiteral("Jazz")});

    // Stations: one per genre, playing on past the end of their songs, each pass a full round.
    ASSERT_EQ(groups[1].items.size(), 3);
    const Station jazz = std::get<Station>(groups[1].items[0].value);
    EXPECT_EQ(jazz.name, QStringLiteral("Jazz Station"));
    EXPECT_EQ(jazz.playParameters->kind, QStringLiteral("station"));
    QStringList played;
    for (int batch = 0; batch < 4; ++batch)
        played += titles(runTask(service.stationSongs(jazz, 4)));
    ASSERT_EQ(played.size(), 16);
    for (int pass = 0; pass < 3; ++pass) {
        QStringList round = played.mid(pass * 5, 5);
        round.sort();
        EXPECT_EQ(round, (QStringList{QStringLiteral("Jazz 0"), QStringLiteral("Jazz 1"), QStringLiteral("Jazz 2"), QStringLiteral("Jazz 3"), QStringLiteral("Jazz 4")}));
    }
    for (qsizetype i = 1; i < played.size(); ++i)
        EXPECT_NE(played[i], played[i - 1]);
    const Station ambient = std::get<Station>(groups[1].items[2].value);
    EXPECT_EQ(titles(runTask(service.stationSongs(ambient, 3))), (QStringList{QStringLiteral("Calm"), QStringLiteral("Calm"), QStringLiteral("Calm")}));
    Station unknown;
    unknown.id = MusicItemID(QStringLiteral("st.unknown"));
    EXPECT_THROW(runTask(service.stationSongs(unknown, 3)), MusicError);

    // The same library gives the same recommendations on the next run.
    LocalLibraryService again(f, library.cache.path());
    EXPECT_EQ(runTask(again.personalRecommendations()), groups);
}

TEST(LocalLibraryService, ResolvesTheFolderFromOptionThenSettingThenMusicFolder)
{
    UserDefaults defaults(QStringLiteral("LocalLibraryTest"));
    defaults.removePersistentDomain();
    const QString music = QDir::cleanPath(QStandardPaths::writableLocation(QStandardPaths::MusicLocation));
    EXPECT_EQ(LocalLibraryService::resolveLibraryFolder({}, &defaults), LocalLibraryService::defaultMusicFolder());
    EXPECT_EQ(LocalLibraryService::defaultMusicFolder(), music.isEmpty() ? QDir::homePath() + QStringLiteral("/Music") : music);

    defaults.set(LocalLibraryService::libraryFolderKey, QStringLiteral("/srv/music/"));
    EXPECT_EQ(LocalLibraryService::resolveLibraryFolder({}, &defaults), QStringLiteral("/srv/music"));
    EXPECT_EQ(LocalLibraryService::resolveLibraryFolder(QStringLiteral("/tmp/demo"), &defaults), QStringLiteral("/tmp/demo"));
    EXPECT_EQ(LocalLibraryService::resolveLibraryFolder(QStringLiteral("relative/lib"), &defaults),
              QDir::cleanPath(QDir::currentPath() + QStringLiteral("/relative/lib")));
    defaults.set(LocalLibraryService::libraryFolderKey, QString());
    EXPECT_EQ(LocalLibraryService::resolveLibraryFolder({}, &defaults), LocalLibraryService::defaultMusicFolder());
    defaults.removePersistentDomain();
}

TEST(LocalLibrary, ALargeFolderIsReadInPathOrderWhateverTheWorkerCount)
{
    Library library;
    const QString f = library.folder();
    writeTrack(f, QStringLiteral("template.wav"), tags(QStringLiteral("Same"), QStringLiteral("A")), cover(5), 0.2);
    QFile templateFile(f + QStringLiteral("/template.wav"));
    ASSERT_TRUE(templateFile.open(QIODevice::ReadOnly));
    const QByteArray bytes = templateFile.readAll();
    ASSERT_TRUE(QFile::remove(f + QStringLiteral("/template.wav")));
    QStringList expected;
    for (int i = 0; i < 300; ++i) {
        const QString relative = QStringLiteral("d%1/t%2.wav").arg(i % 7).arg(i, 3, 10, QLatin1Char('0'));
        writeFile(f + u'/' + relative, bytes);
        expected.append(relative);
    }
    writeFile(f + QStringLiteral("/d3/broken.wav"), "RIFF nonsense");
    writeFile(f + QStringLiteral("/d6/broken.mp3"), {});
    expected.sort();

    const ScanResult scan = library.scan();
    EXPECT_EQ(textsOf(scan.tracks, [](const ScannedTrack &track) { return QString::fromUtf8(track.identity); }), expected);
    EXPECT_EQ(scan.skippedFiles, 2);
    // Every worker found the one embedded picture; it is stored once.
    EXPECT_EQ(QDir(library.cache.path()).entryList(QDir::Files).size(), 1);
    EXPECT_EQ(scan.tracks.first().artworkPath, scan.tracks.last().artworkPath);

    // A scan told to stop returns early without reading everything.
    std::atomic<bool> stop = true;
    EXPECT_TRUE(FolderScanner(f, library.cache.path()).scan(&stop).tracks.isEmpty());
}
