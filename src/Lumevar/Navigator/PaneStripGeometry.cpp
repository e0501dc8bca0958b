#include "Lumevar/Navigator/PaneStripGeometry.h"

#include <algorithm>
#include <cmath>

namespace PaneStripGeometry {

double paneWidth(double stripWidth)
{
    if (stripWidth <= singlePaneMaximumWidth)
        return stripWidth;
    if (stripWidth <= doublePaneMaximumWidth)
        return stripWidth * 0.5;
    // Two thirds rounded to a whole point, then halved: a pane is a multiple of half a point.
    return std::round(stripWidth / 3 + stripWidth / 3) * 0.5;
}

bool isDeepContainer(const std::optional<QString> &containerKindID)
{
    if (!containerKindID)
        return false;
    return *containerKindID == QLatin1String("playlists") || *containerKindID == QLatin1String("albums")
           || *containerKindID == QLatin1String("artists");
}

int lastPaneIndex(bool deepContainer) { return deepContainer ? 2 : 1; }

double stripOffset(double stripWidth, int activePane, bool deepContainer)
{
    const double pane = paneWidth(stripWidth);
    if (stripWidth <= singlePaneMaximumWidth)
        return pane * activePane;
    if (stripWidth <= doublePaneMaximumWidth && deepContainer)
        return pane * std::min(activePane, 1);
    return 0;
}

QList<QRectF> paneFrames(double stripWidth, double height, int paneCount)
{
    const double pane = paneWidth(stripWidth);
    QList<QRectF> frames;
    frames.reserve(paneCount);
    for (int i = 0; i < paneCount; ++i)
        frames.append(QRectF(pane * i, 0, pane, height));
    return frames;
}

QList<QRectF> dividerFrames(const QList<QRectF> &panes, double height)
{
    QList<QRectF> frames;
    for (qsizetype i = 0; i + 1 < panes.size(); ++i)
        frames.append(QRectF(panes[i].right(), dividerInset, 1, height - 2 * dividerInset));
    return frames;
}

} // namespace PaneStripGeometry
