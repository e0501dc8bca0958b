#pragma once
// The arithmetic of the pane strip: how wide a pane is for the strip's width, how far the strip
// is scrolled for the active pane, where each pane and each hair-line divider stands. Pure
// functions of the width, the height, the active pane and whether the selected container has a
// third level, so that every number is checked without a window.
//
// One pane shows up to 400 points, two up to 800, three above. A deep container (playlists,
// albums, artists) has three levels: root list, collection list, songs of the collection; every
// other container, and no container, has two.

#include <QList>
#include <QRectF>
#include <QString>
#include <optional>

namespace PaneStripGeometry {

inline constexpr double singlePaneMaximumWidth = 400.0;
inline constexpr double doublePaneMaximumWidth = 800.0;
inline constexpr int maximumPaneCount = 3;
inline constexpr double dividerInset = 10.0; // the divider stops this short of top and bottom

double paneWidth(double stripWidth);
bool isDeepContainer(const std::optional<QString> &containerKindID);
// The index of the rightmost pane the navigation may reach: 2 for a deep container, else 1.
int lastPaneIndex(bool deepContainer);
// The x of the strip's visible origin: the panes stand at P × i from 0 and the strip scrolls.
double stripOffset(double stripWidth, int activePane, bool deepContainer);
// Pane i at (P × i, 0, P, height), in strip coordinates.
QList<QRectF> paneFrames(double stripWidth, double height, int paneCount);
// One divider right of every pane but the last: 1 point wide, inset from top and bottom.
QList<QRectF> dividerFrames(const QList<QRectF> &panes, double height);

} // namespace PaneStripGeometry
