#pragma once
// Objects under text keys in two levels: in memory (the most recently used maxCount) and one
// archive file per key ("<key>.dat", see ObjectArchive.h). The key rule, the touch on read and
// the purge by age are those of InMemoryDiskBackedImageCache. Safe on any thread.

#include "DunmoorUIKit/DiskCacheDirectory.h"
#include "DunmoorUIKit/GuardedCache.h"
#include "DunmoorUIKit/ObjectArchive.h"

#include <optional>

template <ArchivableObject T>
class InMemoryDiskBackedSecureCodedCache {
public:
    InMemoryDiskBackedSecureCodedCache(QString cacheDirectory, bool shouldHashKeys, Clock *clock = nullptr,
                                       qint64 maxCount = 1000)
        : m_cache(maxCount),
          m_disk(std::move(cacheDirectory), shouldHashKeys, QStringLiteral("dat"),
                 QStringLiteral("Failed to update modification date for data cache: "), clock)
    {
    }

    // Memory, else the key's file. Throws CacheFileError when there is no readable file and
    // DecodingError when it holds no sound archive of T (the file stays until a write or a purge).
    std::optional<T> object(const QString &key)
    {
        const QString stored = m_disk.storedKey(key);
        if (std::optional<T> hit = m_cache.value(stored))
            return hit;
        const QString path = m_disk.fileOfStoredKey(stored);
        T value = ObjectArchive::unarchive<T>(m_disk.read(path));
        m_cache.insert(stored, value, 1);
        m_disk.touchLater(path);
        return value;
    }

    // Kept in memory, then archived and written; on a failure (CacheFileError) the memory entry stays.
    void setObject(const T &value, const QString &key)
    {
        const QString stored = m_disk.storedKey(key);
        m_cache.insert(stored, value, 1);
        m_disk.write(m_disk.fileOfStoredKey(stored), ObjectArchive::archive(value));
    }

    void removeObject(const QString &key)
    {
        const QString stored = m_disk.storedKey(key);
        m_cache.remove(stored);
        m_disk.remove(m_disk.fileOfStoredKey(stored));
    }

    void removeFiles(double olderThanSeconds) const { m_disk.removeFiles(olderThanSeconds); }
    QString fileOfKey(const QString &key) const { return m_disk.fileOfStoredKey(m_disk.storedKey(key)); }

private:
    GuardedCache<T> m_cache;
    DiskCacheDirectory m_disk;
};
