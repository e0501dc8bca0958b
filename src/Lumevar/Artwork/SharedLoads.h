#pragma once
// Loads in flight by key. The first asker starts the work; whoever asks for the same key before it
// ends waits for the same outcome, image or error. The entry goes when the work ends, so a failure
// is not remembered and the next asker tries again. Main thread only.

#include <QCoroTask>
#include <QFuture>
#include <QHash>
#include <QImage>
#include <QPromise>
#include <functional>
#include <memory>

template <typename Key>
class SharedLoads {
public:
    // The future outcome of the load of key: the one in flight, or a new one made by start().
    QFuture<QImage> join(const Key &key, const std::function<QCoro::Task<QImage>()> &start)
    {
        if (auto found = m_loads->constFind(key); found != m_loads->cend())
            return *found;
        auto promise = std::make_shared<QPromise<QImage>>();
        promise->start();
        QFuture<QImage> future = promise->future();
        m_loads->insert(key, future);
        drive(m_loads, key, promise, start());
        return future;
    }

    bool isEmpty() const { return m_loads->isEmpty(); }

private:
    using Map = QHash<Key, QFuture<QImage>>;

    // Fire and forget: owns the promise until the work ends. The map is shared so that an owner
    // destroyed meanwhile leaves nothing dangling.
    static QCoro::Task<void> drive(std::shared_ptr<Map> loads, Key key, std::shared_ptr<QPromise<QImage>> promise,
                                   QCoro::Task<QImage> work)
    {
        try {
            QImage image = co_await std::move(work);
            loads->remove(key);
            promise->addResult(image);
        } catch (...) {
            loads->remove(key);
            promise->setException(std::current_exception());
        }
        promise->finish();
    }

    std::shared_ptr<Map> m_loads = std::make_shared<Map>();
};
