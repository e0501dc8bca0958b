#include "Lumevar/Model/ListScrollState.h"

#include <QMetaObject>

void ListScrollState::withScrollRequest(const std::function<void()> &restore)
{
    ++m_scrollRequestCount;
    restore();
    // Two hops: the lists' observers run a turn after the writes and apply the selections; only
    // after that may the counter fall. The hops die with this object.
    QMetaObject::invokeMethod(
        this,
        [this] { QMetaObject::invokeMethod(this, [this] { --m_scrollRequestCount; }, Qt::QueuedConnection); },
        Qt::QueuedConnection);
}
