// The demo library that a new user starts with must read back whole: every track, album, cover
// and playlist entry it writes.
#include "DemoLibrary/DemoLibrary.h"
#include "Platform/LocalLibrary/FolderScanner.h"
#include "Platform/LocalLibrary/LibraryIndex.h"
#include "Platform/LocalLibrary/LocalRecommendations.h"
#include "TestKit/Lists.h"

#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>
#include <gtest/gtest.h>

TEST(LocalLibraryDemo, TheDemoLibraryReadsBackWhole)
{
    QTemporaryDir music, cache;
    DemoLibrary::Summary summary;
    QString error;
    ASSERT_TRUE(DemoLibrary::generate(music.path(), &summary, &error)) << error.toStdString();
    EXPECT_TRUE(QFileInfo::exists(music.path() + QStringLiteral("/.complete")));

    const ScanResult scan = FolderScanner(music.path(), cache.path()).scan();
    EXPECT_EQ(scan.skippedFiles, 0);
    ASSERT_EQ(scan.tracks.size(), summary.tracks);
    const LibraryIndex index(scan);
    EXPECT_EQ(index.albums().size(), summary.albums);
    ASSERT_EQ(index.playlists().size(), summary.playlists);
    for (const Playlist &playlist : index.playlists())
        EXPECT_EQ(index.playlistTracks(playlist.id)->size(), 7) << playlist.name.toStdString();

    int withArtwork = 0;
    for (const Album &album : index.albums()) {
        EXPECT_FALSE(album.genreNames.isEmpty());
        EXPECT_TRUE(album.releaseDate);
        withArtwork += album.artwork ? 1 : 0;
        const QList<Song> songs = *index.albumTracks(album.id);
        for (qsizetype i = 1; i < songs.size(); ++i)
            EXPECT_LT(std::pair(songs[i - 1].discNumber.value_or(1), songs[i - 1].trackNumber.value_or(0)),
                      std::pair(songs[i].discNumber.value_or(1), songs[i].trackNumber.value_or(0)));
    }
    EXPECT_EQ(withArtwork, summary.albums - 1); // one album is left without a cover
    for (const ScannedTrack &track : scan.tracks) {
        EXPECT_GE(track.duration, 9.5) << track.path().toStdString();
        EXPECT_LE(track.duration, 21.0) << track.path().toStdString();
        EXPECT_FALSE(track.artist.isEmpty());
    }
    // A compilation is one album under "Various Artists", its track artists listed as artists.
    const QStringList artists = textsOf(index.artists(), &Artist::name);
    EXPECT_FALSE(artists.contains(QStringLiteral("Various Artists")));
    EXPECT_TRUE(artists.contains(QStringLiteral("Zoë & the Waves")));

    const LocalRecommendations recommendations(index);
    EXPECT_GE(recommendations.groups().value(0).items.size(), 2);
    EXPECT_GE(recommendations.groups().value(1).items.size(), 5);

    // Writing a track again gives the same bytes.
    const ScannedTrack &first = scan.tracks.first();
    QTemporaryDir again;
    DemoTags::Tags tags;
    tags.title = first.title;
    tags.artist = first.artist;
    const QString rewritten = again.path() + QStringLiteral("/rewritten.") + QFileInfo(first.path()).suffix();
    ASSERT_TRUE(DemoLibrary::writeTrack(rewritten, tags, 7, 2.0));
    const QString rewrittenAgain = again.path() + QStringLiteral("/rewritten-again.") + QFileInfo(first.path()).suffix();
    ASSERT_TRUE(DemoLibrary::writeTrack(rewrittenAgain, tags, 7, 2.0));
    QFile a(rewritten), b(rewrittenAgain);
    ASSERT_TRUE(a.open(QIODevice::ReadOnly) && b.open(QIODevice::ReadOnly));
    EXPECT_TRUE(a.readAll() == b.readAll());
}
