// The kit's two-level caches: the touch on read and the purge by age (file times set by the test
// and the manual clock, no sleeping), and the object archive's refusal of strange files.

#include "DunmoorUIKit/ImageCoding.h"
#include "DunmoorUIKit/InMemoryDiskBackedImageCache.h"
#include "DunmoorUIKit/InMemoryDiskBackedSecureCodedCache.h"
#include "Support/Clock.h"
#include "Support/WorkerPools.h"
#include "TestKit/ManualClock.h"
#include "TestKit/TestImages.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QThreadPool>
#include <gtest/gtest.h>

namespace {

struct Bookmark {
    static constexpr const char *archiveType = "Bookmark";
    QString title;
    qint64 position = 0;
    friend QDataStream &operator<<(QDataStream &s, const Bookmark &b) { return s << b.title << b.position; }
    friend QDataStream &operator>>(QDataStream &s, Bookmark &b) { return s >> b.title >> b.position; }
};

struct Counter {
    static constexpr const char *archiveType = "Counter";
    qint64 count = 0;
    friend QDataStream &operator<<(QDataStream &s, const Counter &c) { return s << c.count; }
    friend QDataStream &operator>>(QDataStream &s, Counter &c) { return s >> c.count; }
};

class CacheTest : public ::testing::Test {
protected:
    // Clock time as a file time.
    QDateTime at(double secondsFromNow) const
    {
        return QDateTime::fromMSecsSinceEpoch(qint64((clock.now() + secondsFromNow + referenceDateOffsetFromUnixEpoch) * 1000));
    }
    static void setModified(const QString &path, const QDateTime &time)
    {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        ASSERT_TRUE(file.setFileTime(time, QFileDevice::FileModificationTime));
    }
    static QDateTime modified(const QString &path)
    {
        WorkerPools::background().waitForDone(); // touches run detached on the pool
        return QFileInfo(path).lastModified();
    }

    QTemporaryDir folder;
    ManualClock clock{800'000'000.0};
};

TEST_F(CacheTest, OnlyAReadFromDiskCountsAsUseAndThePurgeGoesByDistanceFromNow)
{
    const QString directory = folder.filePath(QStringLiteral("images"));
    InMemoryDiskBackedImageCache writer(directory, 64, false, "png", &clock);
    const QImage image = ImageCoding::image(TestImages::encoded(QSize(20, 20), "png"));
    for (const char *key : {"read", "memory", "stale", "future", "fresh"})
        writer.setImage(image, QString::fromUtf8(key));
    for (const char *key : {"read", "memory", "stale"})
        setModified(writer.fileOfKey(QString::fromUtf8(key)), at(-10 * 86400));
    setModified(writer.fileOfKey(QStringLiteral("future")), at(+10 * 86400));
    setModified(writer.fileOfKey(QStringLiteral("fresh")), at(-3600));

    // "memory" is read from the writer's memory: its file ages on. "read" comes from disk.
    writer.image(QStringLiteral("memory"));
    InMemoryDiskBackedImageCache reader(directory, 64, false, "png", &clock);
    reader.image(QStringLiteral("read"));
    EXPECT_EQ(modified(writer.fileOfKey(QStringLiteral("read"))), at(0));
    EXPECT_EQ(modified(writer.fileOfKey(QStringLiteral("memory"))), at(-10 * 86400));

    ASSERT_TRUE(TestImages::write(directory + QStringLiteral("/.hidden"), "kept"));
    setModified(directory + QStringLiteral("/.hidden"), at(-100 * 86400));
    reader.removeFiles(7 * 86400);
    QStringList left = QDir(directory).entryList(QDir::Files | QDir::Hidden);
    left.sort();
    EXPECT_EQ(left, (QStringList{QStringLiteral(".hidden"), QStringLiteral("fresh.png"), QStringLiteral("read.png")}));
    // The memory level is not purged.
    EXPECT_FALSE(writer.image(QStringLiteral("memory")).isNull());
}

TEST_F(CacheTest, ObjectFilesOfAnotherTypeOrDamagedAreRefusedAndLeftInPlace)
{
    const QString directory = folder.filePath(QStringLiteral("objects"));
    InMemoryDiskBackedSecureCodedCache<Counter> counters(directory, false, &clock);
    counters.setObject(Counter{7}, QStringLiteral("shared-key"));

    InMemoryDiskBackedSecureCodedCache<Bookmark> bookmarks(directory, false, &clock);
    EXPECT_THROW(bookmarks.object(QStringLiteral("shared-key")), DecodingError);
    EXPECT_TRUE(QFile::exists(bookmarks.fileOfKey(QStringLiteral("shared-key"))));

    const QByteArray good = ObjectArchive::archive(Bookmark{QStringLiteral("t"), 1});
    QByteArray flipped = good;
    flipped[flipped.size() - 13] ^= 0x40; // the last byte of the payload, before its check
    const QList<QByteArray> bad{QByteArray(), QByteArray("random bytes that are no archive"), good.left(good.size() - 3),
                                good + "trailing", flipped};
    for (const QByteArray &bytes : bad) {
        ASSERT_TRUE(TestImages::write(bookmarks.fileOfKey(QStringLiteral("bad")), bytes));
        EXPECT_THROW(bookmarks.object(QStringLiteral("bad")), DecodingError) << bytes.toHex().toStdString();
    }
    EXPECT_EQ(ObjectArchive::unarchive<Bookmark>(good).title, QStringLiteral("t"));
}

} // namespace
