#include "TelemetryDeck/UtilityQueue.h"

#include <QThread>

namespace {

class Worker {
public:
    Worker()
    {
        m_thread.setObjectName(QStringLiteral("TelemetryDeck"));
        m_context.moveToThread(&m_thread);
        m_thread.start(QThread::LowPriority);
    }
    ~Worker()
    {
        m_thread.quit();
        m_thread.wait();
    }
    QObject m_context;
    QThread m_thread;
};

Worker &worker()
{
    static Worker instance;
    return instance;
}

} // namespace

namespace UtilityQueue {

void post(std::function<void()> job)
{
    QMetaObject::invokeMethod(&worker().m_context, std::move(job), Qt::QueuedConnection);
}

void waitUntilIdle()
{
    Worker &queue = worker();
    if (QThread::currentThread() == &queue.m_thread)
        return;
    QMetaObject::invokeMethod(&queue.m_context, [] {}, Qt::BlockingQueuedConnection);
}

QObject *context() { return &worker().m_context; }

} // namespace UtilityQueue
