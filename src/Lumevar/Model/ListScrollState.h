#pragma once
// Scroll state shared by the lists of one main window, owned by its MainViewModel and handed to
// each list's controller. Main thread only.
//
// - savedScrollPositions: the scroll offset a list had when it was last taken off screen, by the
//   list's key; a list that comes back scrolls to it. Library SnapBack empties it.
// - scrollRequestCount: while above 0, a list that sees its selection change scrolls the selected
//   row into view instead of keeping its offset. Raised around a programmatic restore of
//   selections and lowered two turns of the event loop later, after the lists have applied them.

#include <QHash>
#include <QObject>
#include <QPointF>
#include <QString>
#include <functional>

class ListScrollState : public QObject {
public:
    using QObject::QObject;

    QHash<QString, QPointF> &savedScrollPositions() { return m_savedScrollPositions; }
    int scrollRequestCount() const { return m_scrollRequestCount; }

    // Raises scrollRequestCount, runs restore, and lowers the counter again two event-loop turns
    // later (a block that posts a second block), so that observers running a turn later still see
    // it raised.
    void withScrollRequest(const std::function<void()> &restore);

private:
    QHash<QString, QPointF> m_savedScrollPositions;
    int m_scrollRequestCount = 0;
};
