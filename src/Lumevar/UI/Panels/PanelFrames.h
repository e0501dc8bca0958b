#pragma once
// Where the two floating panels sit inside the main window. Both are overlays in the window's own
// coordinates (top-left origin): the player bar rests on the window's bottom edge, the search panel
// hangs from a line below the toolbar and grows downward as its content asks. Both are as wide as
// the window allows, between 360 and 600, centred. Each panel's rectangle includes a margin of
// `panelInset` on every side, in which the shadow is painted around the rounded backdrop.

#include <QRectF>
#include <QSizeF>

namespace PanelFrames {

// The margin between a panel's rectangle and its rounded backdrop.
inline constexpr qreal panelInset = 8;
// The player bar's backdrop height, and its rectangle's height with the margin.
inline constexpr qreal playerContentHeight = 44;
inline constexpr qreal playerHeight = playerContentHeight + 2 * panelInset;
// The search panel hangs this far below the window's top edge.
inline constexpr qreal searchTopOffset = 60;
// The search panel's height with the field alone, before its content asks for more.
inline constexpr qreal searchInitialHeight = 44;

// The backdrop width of both panels for a window `windowWidth` wide.
qreal panelWidth(qreal windowWidth);

// The player bar's rectangle: centred, resting on the bottom edge, always `playerHeight` tall.
QRectF playerFrame(QSizeF window);

// The search panel's rectangle for the height its content last asked for, limited to what the
// window leaves below the top offset (never below zero in a window too short for it).
QRectF searchFrame(QSizeF window, qreal lastHeight);

} // namespace PanelFrames
