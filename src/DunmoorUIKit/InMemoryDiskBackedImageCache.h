#pragma once
// Images under text keys in two levels: decoded in memory (bounded by bytes, least recently used
// first) and encoded in one file per key. Storing scales the source down to maxPixelSize first.
// Reading a file sets its modification time to now, so removeFiles(olderThan) removes what nobody
// read for that long. Safe on any thread; two writers of one key leave the last one's file.

#include "DunmoorUIKit/DiskCacheDirectory.h"
#include "DunmoorUIKit/GuardedCache.h"

#include <QByteArray>
#include <QImage>
#include <QString>

class QUrl;

class InMemoryDiskBackedImageCache {
public:
    // diskCacheType: the files' format and extension ("png", "jpeg"). memoryCostLimit: bytes.
    InMemoryDiskBackedImageCache(QString cacheDirectory, int maxPixelSize, bool shouldHashKeys,
                                 QByteArray diskCacheType = "png", Clock *clock = nullptr,
                                 qint64 memoryCostLimit = 48 * 1024 * 1024);

    // Memory, else the key's file (then kept in memory). Throws CGImageError when the file is
    // missing or no image.
    QImage image(const QString &key);

    // Kept in memory, then encoded and written; on a failure (CGImageError, CacheFileError) the
    // memory entry stays.
    void setImage(const QImage &image, const QString &key);
    // The source made into a thumbnail first; throws ImageThumbnailGeneratorError when it cannot.
    void setImageFromURL(const QUrl &url, const QString &key);
    void setImageFromData(const QByteArray &data, const QString &key);

    void removeImage(const QString &key);
    void removeFiles(double olderThanSeconds) const { m_disk.removeFiles(olderThanSeconds); }

    QString fileOfKey(const QString &key) const { return m_disk.fileOfStoredKey(m_disk.storedKey(key)); }

private:
    GuardedCache<QImage> m_imageCache;
    DiskCacheDirectory m_disk;
    int m_maxPixelSize;
    QByteArray m_diskCacheType;
};
