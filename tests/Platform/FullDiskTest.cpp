// The scan cache and the embedded artwork the scan extracts, on a disk with no space left: the
// failure is said once, the last whole file stays, and the next write after space returns works.

#include "LocalLibraryTestSupport.h"

#include "Platform/LocalLibrary/ArtworkExtractor.h"
#include "Platform/LocalLibrary/ScanCache.h"
#include "Platform/LocalLibrary/TrackReader.h"
#include "Support/Log.h"
#include "TestKit/TmpfsMount.h"

using namespace LocalLibraryTestSupport;

namespace {

ScanCache::Entries entries(int count, const QString &title)
{
    ScanCache::Entries made;
    for (int i = 0; i < count; ++i) {
        ScannedTrack track;
        track.fileName = "/music/a/" + QByteArray::number(i) + ".mp3";
        track.title = title;
        made.insert(track.fileName, {1000 + i, 1, quint64(i), track});
    }
    return made;
}

} // namespace

TEST(FullDisk, TheScanCacheKeepsItsLastWholeFileAndIsWrittenOnceSpaceReturns)
{
    TmpfsMount disk(2 * 1024 * 1024);
    if (!disk.skipReason().isEmpty())
        GTEST_SKIP() << disk.skipReason().toStdString();
    const QString file = disk.filePath(QStringLiteral("scans/library.cache"));
    ScanCache cache("/music", file);
    cache.replace(entries(100, QStringLiteral("old")));
    ASSERT_TRUE(cache.save());

    disk.fill();
    cache.replace(entries(5000, QStringLiteral("new")));
    EXPECT_FALSE(cache.save());
    ScanCache reread("/music", file);
    ASSERT_TRUE(reread.load());
    EXPECT_EQ(reread.entries().size(), 100);
    EXPECT_TRUE(cache.isDirty()); // kept for the next scan

    disk.free();
    EXPECT_TRUE(cache.save());
    ASSERT_TRUE(reread.load());
    EXPECT_EQ(reread.entries().size(), 5000);
}

TEST(FullDisk, EmbeddedArtworkThatCannotBeWrittenLeavesNoPartFileAndIsWrittenLater)
{
    TmpfsMount disk(2 * 1024 * 1024);
    if (!disk.skipReason().isEmpty())
        GTEST_SKIP() << disk.skipReason().toStdString();
    QTemporaryDir music;
    QByteArray cover(256 * 1024, 'c');
    cover.replace(0, 2, "\xFF\xD8");
    writeTrack(music.path(), QStringLiteral("a.mp3"), tags(QStringLiteral("A"), QStringLiteral("Artist")), cover, 0.3);
    const QString folder = disk.filePath(QStringLiteral("artwork"));
    const auto read = [&] {
        ArtworkExtractor artwork(folder);
        return TrackReader::read(QFile::encodeName(music.filePath(QStringLiteral("a.mp3"))), artwork);
    };
    QDir().mkpath(folder);
    disk.fill();
    const qsizetype before = LogStore::shared().entries().size();
    const std::optional<ScannedTrack> full = read();
    ASSERT_TRUE(full); // the song is read all the same
    EXPECT_TRUE(full->artworkPath.isEmpty());
    EXPECT_EQ(LogStore::shared().entries().size() - before, 1);
    EXPECT_TRUE(QDir(folder).isEmpty());

    disk.free();
    const std::optional<ScannedTrack> later = read();
    ASSERT_TRUE(later);
    ASSERT_FALSE(later->artworkPath.isEmpty());
    EXPECT_EQ(QFileInfo(later->artworkPath).size(), cover.size());
}
