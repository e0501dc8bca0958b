#include "Lumevar/Navigator/CellLayout.h"

#include <algorithm>
#include <cmath>

namespace CellLayout {

double textWidth(double width, double artworkSize, bool canShowChevron)
{
    return width - artworkSize - artworkTextSpacing - (canShowChevron ? chevronReserve : 0);
}

Frames layout(const Input &in)
{
    Frames frames;
    const double a = in.artworkSize;
    frames.artwork = QRectF(0, std::trunc((in.height - a) * 0.5), a, a);
    const double t = textWidth(in.width, a, in.canShowChevron);
    if (in.emphasized && in.canShowChevron)
        frames.chevron = QRectF(in.width - chevronReserve + 4, 0, 8, in.height);
    const double h = in.titleHeight;
    if (!in.hasSubtitle) {
        frames.title = QRectF(a + artworkTextSpacing, std::trunc((in.height - h) * 0.5), t, h);
    } else {
        frames.title = QRectF(a + artworkTextSpacing, in.verticalPadding, t, h);
        frames.subtitle = QRectF(a + artworkTextSpacing, in.verticalPadding + h, t, in.subtitleHeight);
    }
    return frames;
}

double rowHeight(double artworkSize, double verticalPadding, double titleHeight, double subtitleHeight, bool hasSubtitle)
{
    const double s = hasSubtitle ? subtitleHeight : 0;
    return std::max(artworkSize + 2 * verticalPadding, 2 * verticalPadding + titleHeight + s);
}

} // namespace CellLayout
