#include "LumevarCore/StoreThread.h"

#include "Support/ThreadSanitizer.h"

#include <QCoreApplication>
#include <QEvent>
#include <QObject>
#include <QThread>

// The object on the store's thread that its wake-up events are posted to. The events carry no
// job: jobs pass through the queue under m_mutex, a hand-over a thread sanitizer can see (Qt's
// own event queue is locked inside Qt, which it cannot).
class StoreThread::Worker : public QObject {
public:
    explicit Worker(StoreThread &thread) : m_thread(thread) {}

protected:
    void customEvent(QEvent *) override { m_thread.runQueued(); }

private:
    StoreThread &m_thread;
};

StoreThread::StoreThread() : m_thread(std::make_unique<QThread>()), m_worker(new Worker(*this))
{
    m_thread->setObjectName(QStringLiteral("Lumevar store"));
    m_worker->moveToThread(m_thread.get());
    m_thread->start();
}

StoreThread::~StoreThread()
{
    {
        const std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    QCoreApplication::postEvent(m_worker, new QEvent(QEvent::User));
    m_thread->wait();
    // The thread's end reaches wait() inside Qt: what the thread did is now ours.
    ThreadSanitizer::acquire(this);
    delete m_worker;
}

HandBack StoreThread::post(std::function<void()> work)
{
    HandBack done;
    bool wake = false;
    {
        const std::lock_guard lock(m_mutex);
        // A worker busy with earlier jobs takes this one before it sleeps: no wake-up needed.
        wake = m_jobs.empty();
        m_jobs.push_back(Job{std::move(work), done});
    }
    if (wake)
        QCoreApplication::postEvent(m_worker, new QEvent(QEvent::User));
    return done;
}

void StoreThread::runQueued()
{
    for (;;) {
        Job job;
        {
            const std::lock_guard lock(m_mutex);
            if (m_jobs.empty()) {
                if (m_stopping) {
                    ThreadSanitizer::release(this);
                    QThread::currentThread()->quit();
                }
                return;
            }
            job = std::move(m_jobs.front());
            m_jobs.pop_front();
        }
        job.work();
        job.done.finish();
    }
}
