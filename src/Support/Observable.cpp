#include "Support/Observable.h"

#include "Support/Log.h"

#include <QCoreApplication>
#include <QThread>

namespace ObservationDetail {

void postToMainThread(std::function<void()> fn)
{
    QCoreApplication *application = QCoreApplication::instance();
    if (!application) {
        LUMEVAR_ERROR(Log::app(), "Dropped a change notification: there is no application event loop");
        return;
    }
    QMetaObject::invokeMethod(application, std::move(fn), Qt::QueuedConnection);
}

void assertMainThread()
{
    Q_ASSERT_X(!QCoreApplication::instance() || QThread::currentThread() == QCoreApplication::instance()->thread(),
               "Observable::set", "an observed field was written off the main thread");
}

void replay(const AnimationContext &context, const std::function<void()> &fn)
{
    if (context.animates())
        runAnimationGroup(context.duration, true, fn);
    else
        fn();
}

} // namespace ObservationDetail
