#include "LumevarCore/StoreThread.h"

#include <QMetaObject>
#include <QObject>
#include <QThread>

StoreThread::StoreThread() : m_thread(std::make_unique<QThread>()), m_worker(new QObject)
{
    m_thread->setObjectName(QStringLiteral("Lumevar store"));
    m_worker->moveToThread(m_thread.get());
    m_thread->start();
}

StoreThread::~StoreThread()
{
    // Queued behind every job handed in before, so those run first.
    QMetaObject::invokeMethod(m_worker, [] { QThread::currentThread()->quit(); }, Qt::QueuedConnection);
    m_thread->wait();
    delete m_worker;
}

HandBack StoreThread::post(std::function<void()> work)
{
    HandBack done;
    QMetaObject::invokeMethod(m_worker, [work = std::move(work), done] {
        work();
        done.finish();
    }, Qt::QueuedConnection);
    return done;
}
