#pragma once
// The frames of a list row, computed by hand from the row's size and two text heights: artwork
// (or glyph) at the left, vertically centred; title and subtitle right of it; a chevron at the
// right edge of the selected row of the focused list. Y grows downward. Whole-number results are
// truncated toward zero.

#include <QRectF>

namespace CellLayout {

inline constexpr double artworkTextSpacing = 6;
inline constexpr double chevronReserve = 12;
inline constexpr double measureHeightLimit = 100; // text is measured for (T, 100)

struct Input {
    double width = 0;
    double height = 0;
    double artworkSize = 32;
    double verticalPadding = 6;
    bool canShowChevron = true;
    bool emphasized = false;   // the selected row of the focused list
    double titleHeight = 0;    // measured for the text width, at most measureHeightLimit
    double subtitleHeight = 0; // measured likewise; ignored when there is no subtitle
    bool hasSubtitle = false;
};

struct Frames {
    QRectF artwork; // also the glyph's frame
    QRectF title;
    QRectF subtitle; // empty when hidden
    QRectF chevron;  // empty when not shown
};

// The room for title and subtitle: W − A − 6, less 12 when the chevron may show.
double textWidth(double width, double artworkSize, bool canShowChevron);
Frames layout(const Input &input);
// max(A + 2P, 2P + h + s), with s = 0 without a subtitle.
double rowHeight(double artworkSize, double verticalPadding, double titleHeight, double subtitleHeight, bool hasSubtitle);

} // namespace CellLayout
