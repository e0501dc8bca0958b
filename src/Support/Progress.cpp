#include "Support/Progress.h"

#include <QThread>
#include <algorithm>

Progress::Progress(QObject *parent) : QObject(parent) {}

void Progress::setTotalUnitCount(qint64 total)
{
    m_total.store(total);
    notify();
}

void Progress::setCompletedUnitCount(qint64 completed)
{
    m_completed.store(completed);
    notify();
}

void Progress::addCompletedUnitCount(qint64 delta)
{
    m_completed.fetch_add(delta);
    notify();
}

double Progress::fractionCompleted() const
{
    const qint64 total = m_total.load();
    if (total <= 0)
        return 0;
    return std::clamp(double(m_completed.load()) / double(total), 0.0, 1.0);
}

bool Progress::isFinished() const
{
    const qint64 total = m_total.load();
    return total > 0 && m_completed.load() >= total;
}

void Progress::notify()
{
    if (QThread::currentThread() == thread()) {
        Q_EMIT changed();
        return;
    }
    // One queued signal at a time: changes made before it runs are read by its receivers.
    if (m_notificationPending.exchange(true))
        return;
    QMetaObject::invokeMethod(
        this,
        [this] {
            m_notificationPending.store(false);
            Q_EMIT changed();
        },
        Qt::QueuedConnection);
}
