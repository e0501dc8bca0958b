#pragma once
// Scroll state shared by every list of the main window. Main thread only.
//
// - savedScrollPositions: the scroll offset a list had when it was last taken off screen, by the
//   list's key; a list that comes back scrolls to it. Library SnapBack empties it.
// - scrollRequestCount: while above 0, a list that sees its selection change scrolls the selected
//   row into view instead of keeping its offset. Raised around a programmatic restore of
//   selections and lowered two turns of the event loop later, after the lists have applied them.

#include "Support/Observable.h"

#include <QHash>
#include <QPointF>
#include <QString>
#include <functional>

namespace ListScrollState {

QHash<QString, QPointF> &savedScrollPositions();
Observable<int> &scrollRequestCount();

// Raises scrollRequestCount, runs restore, and lowers the counter again two event-loop turns
// later (a block that posts a second block), so that observers running a turn later still see
// it raised.
void withScrollRequest(const std::function<void()> &restore);

} // namespace ListScrollState
