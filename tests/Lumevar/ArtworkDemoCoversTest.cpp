// The demo library a new user starts with, mirrored into a real store the way the app syncs it,
// its album rows' covers loaded through the artwork cache as list rows will ask for them.

#include "DemoLibrary/DemoLibrary.h"
#include "Lumevar/Artwork/ArtworkImageCache.h"
#include "LumevarCore/LocalDatabase.h"
#include "LumevarCore/SyncEngine.h"
#include "Platform/LocalLibrary/LocalLibraryService.h"
#include "TestKit/AsyncTest.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>

TEST(ArtworkDemoCovers, EveryDemoAlbumRowGetsItsCoverAndANewLaunchReadsThemFromDisk)
{
    QTemporaryDir music, scratch;
    DemoLibrary::Summary summary;
    ASSERT_TRUE(DemoLibrary::generate(music.path(), &summary));
    LocalLibraryService service(music.path(), scratch.filePath(QStringLiteral("extracted")));
    LocalDatabase database(scratch.filePath(QStringLiteral("local.db")));
    runTask(database.open());
    runTask(SyncEngine(database, service).syncAll(nullptr));
    const QList<LocalAlbum> albums = runTask(database.allAlbums({LocalAlbum::SortKey::title}));
    ASSERT_EQ(albums.size(), summary.albums);

    ArtworkImageCache::Options options;
    options.directory = scratch.filePath(QStringLiteral("ArtworkCache"));
    int covers = 0;
    {
        ArtworkImageCache cache(options);
        for (const LocalAlbum &album : albums) {
            if (!album.artworkURL) {
                EXPECT_THROW(runTask(cache.thumbnail(album.artworkURL, album.thumbnailID)), ArtworkImageCacheError);
                continue;
            }
            const QImage image = runTask(cache.thumbnail(album.artworkURL, album.thumbnailID));
            EXPECT_EQ(qMax(image.width(), image.height()), ArtworkImageCache::thumbnailEdge) << album.title.toStdString();
            EXPECT_EQ(cache.cachedThumbnail(album.thumbnailID), image);
            ++covers;
        }
    }
    EXPECT_EQ(covers, summary.albums - 1); // one demo album has no cover

    ArtworkImageCache relaunched(options);
    for (const LocalAlbum &album : albums) {
        if (album.artworkURL) {
            EXPECT_FALSE(runTask(relaunched.thumbnail(std::optional<QUrl>(), album.thumbnailID)).isNull());
        }
    }
}
