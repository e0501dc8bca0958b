// The artwork cache through the calls rows make: cachedThumbnail() when a row is made, then
// thumbnail() with the record's URL and key. Sources are real files and a loopback web server.

#include "Lumevar/Artwork/ArtworkImageCache.h"
#include "Lumevar/Artwork/ArtworkLoad.h"
#include "Support/Log.h"
#include "TestKit/AsyncTest.h"
#include "TestKit/LoopbackHttpServer.h"
#include "TestKit/TestImages.h"
#include "TestKit/TmpfsMount.h"

#include <QCoroTask>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <vector>

namespace {

class ArtworkImageCacheTest : public ::testing::Test {
protected:
    ArtworkImageCache::Options options(int timeoutMs = 30'000)
    {
        ArtworkImageCache::Options o;
        o.directory = folder.filePath(QStringLiteral("ArtworkCache"));
        o.transferTimeoutMilliseconds = timeoutMs;
        return o;
    }

    QUrl writeSource(const QString &name, const QByteArray &bytes)
    {
        const QString path = folder.filePath(name);
        EXPECT_TRUE(TestImages::write(path, bytes));
        return QUrl::fromLocalFile(path);
    }

    static QImage load(ArtworkImageCache &cache, std::optional<QUrl> url, const QString &id)
    {
        return runTask(cache.thumbnail(std::move(url), id));
    }

    // The code of the ArtworkImageCacheError a load ends in, or -1 for anything else.
    static int failureCode(ArtworkImageCache &cache, std::optional<QUrl> url, const QString &id)
    {
        try {
            load(cache, std::move(url), id);
        } catch (const ArtworkImageCacheError &error) {
            return error.code();
        } catch (...) {
        }
        return -1;
    }

    QTemporaryDir folder;
};

TEST_F(ArtworkImageCacheTest, LocalCoverBecomesAnEdgeLimitedThumbnailInMemoryAndOnDisk)
{
    ArtworkImageCache cache(options());
    const QUrl source = writeSource(QStringLiteral("wide.jpg"), TestImages::encoded(QSize(1500, 750), "jpg"));
    const QString id = QStringLiteral("album-1");
    EXPECT_TRUE(cache.cachedThumbnail(id).isNull());

    const QImage image = load(cache, source, id);
    EXPECT_EQ(image.size(), QSize(64, 32)); // aspect kept, longer edge at the limit
    EXPECT_EQ(cache.cachedThumbnail(id).size(), QSize(64, 32));

    QImageReader written(cache.fileOfKey(id));
    EXPECT_EQ(written.format(), QByteArray("png"));
    EXPECT_EQ(written.size(), QSize(64, 32));

    // A small source is not blown up.
    const QUrl small = writeSource(QStringLiteral("small.png"), TestImages::encoded(QSize(40, 20), "png"));
    EXPECT_EQ(load(cache, small, QStringLiteral("album-2")).size(), QSize(40, 20));
}

TEST_F(ArtworkImageCacheTest, DiskLevelServesAKeyWithoutItsUrlOnceMemoryIsGone)
{
    const QString id = QStringLiteral("song-7");
    {
        ArtworkImageCache first(options());
        const QUrl source = writeSource(QStringLiteral("cover.png"), TestImages::encoded(QSize(300, 300), "png"));
        load(first, source, id);
        QFile::remove(source.toLocalFile()); // the file level must not need the source any more
    }
    ArtworkImageCache cache(options()); // a new launch: memory empty, files kept
    EXPECT_TRUE(cache.cachedThumbnail(id).isNull());
    EXPECT_EQ(load(cache, std::nullopt, id).size(), QSize(64, 64)); // a record that lost its URL
    EXPECT_FALSE(cache.cachedThumbnail(id).isNull());

    cache.clearMemory();
    EXPECT_TRUE(cache.cachedThumbnail(id).isNull());
    EXPECT_EQ(load(cache, std::nullopt, id).size(), QSize(64, 64));
}

TEST_F(ArtworkImageCacheTest, NothingCachedAndNoUrlFailsWithNoArtworkURL)
{
    ArtworkImageCache cache(options());
    EXPECT_EQ(failureCode(cache, std::nullopt, QStringLiteral("x")), ArtworkImageCacheError::noArtworkURL);
    EXPECT_EQ(failureCode(cache, QUrl(), QStringLiteral("x")), ArtworkImageCacheError::noArtworkURL);

    // A damaged file of the key is no image: without a URL the answer stays noArtworkURL ...
    ASSERT_TRUE(TestImages::write(cache.fileOfKey(QStringLiteral("x")), "not a png"));
    EXPECT_EQ(failureCode(cache, std::nullopt, QStringLiteral("x")), ArtworkImageCacheError::noArtworkURL);
    // ... and with one, a new load replaces it.
    const QUrl source = writeSource(QStringLiteral("c.jpg"), TestImages::encoded(QSize(128, 128), "jpg"));
    EXPECT_EQ(load(cache, source, QStringLiteral("x")).size(), QSize(64, 64));
    EXPECT_EQ(QImageReader(cache.fileOfKey(QStringLiteral("x"))).size(), QSize(64, 64));
}

TEST_F(ArtworkImageCacheTest, ManyRowsAskingForOneUrlShareOneLoadAndItsOutcome)
{
    LoopbackHttpServer server;
    server.setResponse(QStringLiteral("/cover/64x64.jpg"), {200, TestImages::encoded(QSize(600, 600), "jpg"), "image/jpeg"});
    ArtworkImageCache cache(options());
    const QUrl url = server.url(QStringLiteral("/cover/64x64.jpg"));

    auto askTen = [&cache](QUrl url, QString id) -> QCoro::Task<QList<QString>> {
        std::vector<QCoro::Task<QImage>> tasks;
        for (int row = 0; row < 10; ++row)
            tasks.push_back(cache.thumbnail(url, id));
        QList<QString> outcomes;
        for (auto &task : tasks) {
            try {
                const QImage image = co_await std::move(task);
                outcomes.append(QStringLiteral("%1x%2").arg(image.width()).arg(image.height()));
            } catch (const Error &error) {
                outcomes.append(error.debugDescription().section(QLatin1Char(':'), 0, 0));
            }
        }
        co_return outcomes;
    };

    EXPECT_EQ(runTask(askTen(url, QStringLiteral("album-9"))), QList<QString>(10, QStringLiteral("64x64")));
    EXPECT_EQ(server.requestCount(QStringLiteral("/cover/64x64.jpg")), 1);

    // A failed load fails every waiter and is not remembered: the next ask loads again.
    const QUrl missing = server.url(QStringLiteral("/gone.jpg")); // answers 404 with an HTML page
    EXPECT_EQ(runTask(askTen(missing, QStringLiteral("album-10"))),
              QList<QString>(10, QStringLiteral("ArtworkImageCacheError.invalidImage")));
    EXPECT_EQ(server.requestCount(QStringLiteral("/gone.jpg")), 1);
    EXPECT_EQ(failureCode(cache, missing, QStringLiteral("album-10")), ArtworkImageCacheError::invalidImage);
    EXPECT_EQ(server.requestCount(QStringLiteral("/gone.jpg")), 2);
}

TEST_F(ArtworkImageCacheTest, ArtworkOfTheServiceIsAskedAtTheThumbnailEdge)
{
    LoopbackHttpServer server;
    server.setResponse(QStringLiteral("/art/64x64bb.jpg"), {200, TestImages::encoded(QSize(64, 64), "jpg"), "image/jpeg"});
    ArtworkImageCache cache(options());
    const Artwork artwork(server.url(QStringLiteral("/")).toString() + QStringLiteral("art/{w}x{h}bb.jpg"), 3000, 3000);
    EXPECT_EQ(runTask(cache.thumbnail(std::optional<Artwork>(artwork), QStringLiteral("p"))).size(), QSize(64, 64));
    EXPECT_EQ(server.requestCount(QStringLiteral("/art/64x64bb.jpg")), 1);
}

TEST_F(ArtworkImageCacheTest, BadSourcesEndInTheirErrorAndTheNextRowStillLoads)
{
    ArtworkImageCache cache(options());
    const QByteArray jpeg = TestImages::encoded(QSize(800, 800), "jpg");

    EXPECT_EQ(failureCode(cache, writeSource(QStringLiteral("text.jpg"), "hello, no image here"), QStringLiteral("a")),
              ArtworkImageCacheError::invalidImage);
    EXPECT_EQ(failureCode(cache, writeSource(QStringLiteral("cut.jpg"), jpeg.left(jpeg.size() / 20)), QStringLiteral("b")),
              ArtworkImageCacheError::unableToCreateThumbnail);
    try {
        load(cache, QUrl::fromLocalFile(folder.filePath(QStringLiteral("vanished.jpg"))), QStringLiteral("c"));
        ADD_FAILURE() << "a vanished file loaded";
    } catch (const URLError &error) {
        EXPECT_EQ(error.urlCode(), URLError::fileDoesNotExist);
    }
    EXPECT_FALSE(QFile::exists(cache.fileOfKey(QStringLiteral("a"))));

    // A picture of 20,000 x 20,000 pixels (1.6 GB decoded, 60 KB on disk) is refused before its
    // memory is taken, and the row after all these still loads.
    const QUrl huge = writeSource(QStringLiteral("huge.png"), TestImages::hugePng(20'000, 20'000));
    EXPECT_EQ(failureCode(cache, huge, QStringLiteral("d")), ArtworkImageCacheError::unableToCreateThumbnail);
    EXPECT_EQ(load(cache, writeSource(QStringLiteral("ok.jpg"), jpeg), QStringLiteral("e")).size(), QSize(64, 64));
    // A cover of 7,000 x 7,000 pixels (196 MB decoded, past Qt's own limit) gets its thumbnail.
    const QUrl large = writeSource(QStringLiteral("large.png"), TestImages::hugePng(7'000, 7'000));
    EXPECT_EQ(load(cache, large, QStringLiteral("f")).size(), QSize(64, 64));
}

TEST_F(ArtworkImageCacheTest, WebFailuresReachTheCallerAsUrlErrors)
{
    LoopbackHttpServer server;
    server.setResponse(QStringLiteral("/silent.jpg"), {200, {}, {}, /*neverAnswer*/ true});
    ArtworkImageCache cache(options(/*timeoutMs*/ 200));

    try {
        load(cache, server.url(QStringLiteral("/silent.jpg")), QStringLiteral("s"));
        ADD_FAILURE() << "a silent server answered";
    } catch (const URLError &error) {
        EXPECT_EQ(error.urlCode(), URLError::timedOut);
    }
    QUrl refused = server.url(QStringLiteral("/x.jpg"));
    refused.setPort(1); // nothing listens there
    EXPECT_THROW(load(cache, refused, QStringLiteral("r")), URLError);
}

TEST_F(ArtworkImageCacheTest, UnwritableFolderStillServesImagesAndLogsOnce)
{
    ArtworkImageCache::Options o = options();
    o.directory = folder.filePath(QStringLiteral("blocked/ArtworkCache"));
    ASSERT_TRUE(TestImages::write(folder.filePath(QStringLiteral("blocked")), "a file where the folder should be"));
    ArtworkImageCache cache(o);
    LogStore::shared().clear();

    const QByteArray png = TestImages::encoded(QSize(200, 100), "png");
    EXPECT_EQ(load(cache, writeSource(QStringLiteral("1.png"), png), QStringLiteral("k1")).size(), QSize(64, 32));
    EXPECT_EQ(load(cache, writeSource(QStringLiteral("2.png"), png), QStringLiteral("k2")).size(), QSize(64, 32));
    EXPECT_FALSE(cache.cachedThumbnail(QStringLiteral("k1")).isNull());
    EXPECT_EQ(LogStore::shared().entries().size(), 1);
}

TEST_F(ArtworkImageCacheTest, AFullDiskServesThumbnailsLeavesNoFileBehindAndIsWrittenOnceSpaceReturns)
{
    TmpfsMount disk(1024 * 1024);
    if (!disk.skipReason().isEmpty())
        GTEST_SKIP() << disk.skipReason().toStdString();
    ArtworkImageCache::Options o = options();
    o.directory = disk.filePath(QStringLiteral("ArtworkCache"));
    const QByteArray png = TestImages::encoded(QSize(200, 200), "png");
    const QDir thumbnails(o.directory);
    {
        ArtworkImageCache cache(o);
        disk.fill();
        LogStore::shared().clear();
        for (const QString &id : {QStringLiteral("k1"), QStringLiteral("k2")})
            EXPECT_EQ(load(cache, writeSource(id + QStringLiteral(".png"), png), id).size(), QSize(64, 64));
        EXPECT_EQ(LogStore::shared().entries().size(), 1);
        // Neither a truncated thumbnail nor a half-written temporary file is left to be read later.
        EXPECT_TRUE(thumbnails.entryList(QDir::Files | QDir::Hidden).isEmpty()) << thumbnails.entryList(QDir::Files | QDir::Hidden).join(' ').toStdString();
    }
    disk.free();
    ArtworkImageCache next(o);
    EXPECT_EQ(load(next, writeSource(QStringLiteral("k1.png"), png), QStringLiteral("k1")).size(), QSize(64, 64));
    const QString written = next.fileOfKey(QStringLiteral("k1"));
    EXPECT_EQ(QImageReader(written).read().size(), QSize(64, 64));
}

TEST_F(ArtworkImageCacheTest, MemoryLevelKeepsTheRecentlyUsedWithinItsByteBudget)
{
    ArtworkImageCache::Options o = options();
    o.memoryCostLimit = 3 * 64 * 64 * 4; // three full thumbnails
    ArtworkImageCache cache(o);
    const QUrl source = writeSource(QStringLiteral("sq.jpg"), TestImages::encoded(QSize(256, 256), "jpg"));
    // Distinct URLs of one file, so that each key makes its own load.
    auto urlFor = [&source](const QString &id) { return QUrl(source.toString() + QStringLiteral("?") + id); };
    for (const QString &id : {QStringLiteral("k1"), QStringLiteral("k2"), QStringLiteral("k3")})
        load(cache, urlFor(id), id);
    EXPECT_FALSE(cache.cachedThumbnail(QStringLiteral("k1")).isNull()); // k1 is now the most recent
    load(cache, urlFor(QStringLiteral("k4")), QStringLiteral("k4"));
    EXPECT_LE(cache.memoryCost(), o.memoryCostLimit);
    EXPECT_TRUE(cache.cachedThumbnail(QStringLiteral("k2")).isNull());
    EXPECT_FALSE(cache.cachedThumbnail(QStringLiteral("k1")).isNull());
    EXPECT_FALSE(cache.cachedThumbnail(QStringLiteral("k4")).isNull());
}

TEST_F(ArtworkImageCacheTest, AViewStartsFromMemoryAndAFailedAskLogsOneLineAndShowsThePlaceholder)
{
    ArtworkImageCache cache(options());
    const QUrl source = writeSource(QStringLiteral("v.jpg"), TestImages::encoded(QSize(300, 300), "jpg"));
    EXPECT_EQ(ArtworkLoad::seeded(QStringLiteral("v"), cache).state, ArtworkState::unknown);
    const ArtworkLoad loaded = runTask(loadArtwork(source, QStringLiteral("v"), cache));
    EXPECT_EQ(loaded.state, ArtworkState::loaded);
    EXPECT_EQ(ArtworkLoad::seeded(QStringLiteral("v"), cache).state, ArtworkState::loaded);
    EXPECT_EQ(ArtworkLoad::seeded(QStringLiteral("v"), cache).image, loaded.image);

    LogStore::shared().clear();
    const ArtworkLoad failed = runTask(loadArtwork(std::nullopt, QStringLiteral("none"), cache));
    EXPECT_EQ(failed.state, ArtworkState::failed);
    EXPECT_TRUE(failed.image.isNull());
    const auto lines = LogStore::shared().entries();
    ASSERT_EQ(lines.size(), 1);
    EXPECT_EQ(lines[0].category, QStringLiteral("images"));
    EXPECT_TRUE(lines[0].message.startsWith(QStringLiteral("Failed to load artwork: "))) << lines[0].message.toStdString();
}

} // namespace
