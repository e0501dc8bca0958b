#include "Support/WorkerPools.h"

#include <QThread>
#include <QThreadPool>

namespace {

// Made at the first use (thread-safely, as a function's static) and ended at exit, where the
// pool's end waits for a job still running.
struct Pool : QThreadPool {
    Pool(const char *name, int threads)
    {
        setObjectName(QString::fromLatin1(name));
        setMaxThreadCount(threads);
    }
};

} // namespace

namespace WorkerPools {

QThreadPool &library()
{
    static Pool pool("library", QThread::idealThreadCount());
    return pool;
}

QThreadPool &store()
{
    static Pool pool("store", QThread::idealThreadCount());
    return pool;
}

QThreadPool &background()
{
    static Pool pool("background", 2);
    return pool;
}

} // namespace WorkerPools
