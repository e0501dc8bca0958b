#include "Lumevar/Model/ListScrollState.h"

#include <QCoreApplication>
#include <QMetaObject>

namespace ListScrollState {

QHash<QString, QPointF> &savedScrollPositions()
{
    static QHash<QString, QPointF> positions;
    return positions;
}

Observable<int> &scrollRequestCount()
{
    static Observable<int> count{0};
    return count;
}

void withScrollRequest(const std::function<void()> &restore)
{
    Observable<int> &count = scrollRequestCount();
    count.set(count() + 1);
    restore();
    QCoreApplication *app = QCoreApplication::instance();
    if (!app) {
        count.set(count() - 1);
        return;
    }
    // Two hops: the lists' observers run a turn after the writes and apply the selections; only
    // after that may the counter fall.
    QMetaObject::invokeMethod(
        app,
        [app] {
            QMetaObject::invokeMethod(
                app, [] { scrollRequestCount().set(scrollRequestCount()() - 1); }, Qt::QueuedConnection);
        },
        Qt::QueuedConnection);
}

} // namespace ListScrollState
