#pragma once
// The memory level of the kit's caches: a QCache behind a mutex, so that it may be used from any
// thread. Entries are given a cost (bytes for images, 1 for objects); the least recently used go
// first once the total passes the limit.

#include <QCache>
#include <QMutex>
#include <QString>
#include <optional>

template <typename T>
class GuardedCache {
public:
    explicit GuardedCache(qint64 maxCost) { m_cache.setMaxCost(maxCost); }

    std::optional<T> value(const QString &key) const
    {
        QMutexLocker lock(&m_mutex);
        if (const T *found = m_cache.object(key))
            return *found;
        return std::nullopt;
    }

    void insert(const QString &key, const T &value, qint64 cost)
    {
        QMutexLocker lock(&m_mutex);
        m_cache.insert(key, new T(value), qMax<qint64>(1, cost));
    }

    void remove(const QString &key)
    {
        QMutexLocker lock(&m_mutex);
        m_cache.remove(key);
    }

    qint64 totalCost() const
    {
        QMutexLocker lock(&m_mutex);
        return m_cache.totalCost();
    }

private:
    mutable QMutex m_mutex;
    QCache<QString, T> m_cache;
};
