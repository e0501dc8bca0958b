#include "DunmoorUIKit/InMemoryDiskBackedImageCache.h"

#include "DunmoorUIKit/ImageCoding.h"
#include "DunmoorUIKit/ImageThumbnailGenerator.h"

#include <QUrl>

InMemoryDiskBackedImageCache::InMemoryDiskBackedImageCache(QString cacheDirectory, int maxPixelSize, bool shouldHashKeys,
                                                           QByteArray diskCacheType, Clock *clock, qint64 memoryCostLimit)
    : m_imageCache(memoryCostLimit),
      m_disk(std::move(cacheDirectory), shouldHashKeys, QString::fromLatin1(diskCacheType.toLower()),
             QStringLiteral("Failed to update modification date for image cache: "), clock),
      m_maxPixelSize(maxPixelSize), m_diskCacheType(std::move(diskCacheType))
{
}

QImage InMemoryDiskBackedImageCache::image(const QString &key)
{
    const QString stored = m_disk.storedKey(key);
    if (std::optional<QImage> hit = m_imageCache.value(stored))
        return *hit; // a memory hit leaves the file's time alone
    const QString path = m_disk.fileOfStoredKey(stored);
    const QImage image = ImageCoding::image(QUrl::fromLocalFile(path));
    m_imageCache.insert(stored, image, image.sizeInBytes());
    m_disk.touchLater(path);
    return image;
}

void InMemoryDiskBackedImageCache::setImage(const QImage &image, const QString &key)
{
    const QString stored = m_disk.storedKey(key);
    m_imageCache.insert(stored, image, image.sizeInBytes());
    m_disk.write(m_disk.fileOfStoredKey(stored), ImageCoding::encodedData(image, m_diskCacheType));
}

void InMemoryDiskBackedImageCache::setImageFromURL(const QUrl &url, const QString &key)
{
    setImage(ImageThumbnailGenerator::createThumbnailOfImageAtURL(url, m_maxPixelSize), key);
}

void InMemoryDiskBackedImageCache::setImageFromData(const QByteArray &data, const QString &key)
{
    setImage(ImageThumbnailGenerator::createThumbnailOfImageWithSourceData(data, m_maxPixelSize), key);
}

void InMemoryDiskBackedImageCache::removeImage(const QString &key)
{
    const QString stored = m_disk.storedKey(key);
    m_imageCache.remove(stored);
    m_disk.remove(m_disk.fileOfStoredKey(stored));
}
