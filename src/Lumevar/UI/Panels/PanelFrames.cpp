#include "Lumevar/UI/Panels/PanelFrames.h"

#include <algorithm>

namespace PanelFrames {

namespace {
constexpr qreal maximumWidth = 600;
constexpr qreal minimumWidth = 360;
// What the window keeps free beside a panel, both sides together.
constexpr qreal sideRoom = 160;
} // namespace

qreal panelWidth(qreal windowWidth)
{
    const qreal room = windowWidth - sideRoom;
    return room > maximumWidth ? maximumWidth : std::max(minimumWidth, room);
}

QRectF playerFrame(QSizeF window)
{
    const qreal width = panelWidth(window.width());
    const qreal x = (window.width() - width - 2 * panelInset) * 0.5;
    return {x, window.height() - playerHeight, width + 2 * panelInset, playerHeight};
}

QRectF searchFrame(QSizeF window, qreal lastHeight)
{
    const qreal width = panelWidth(window.width());
    const qreal available = window.height() - searchTopOffset - searchInitialHeight - 3 * panelInset;
    const qreal height = std::max<qreal>(0, std::min(lastHeight, available));
    const qreal x = (window.width() - width - 2 * panelInset) * 0.5;
    return {x, searchTopOffset, width + 2 * panelInset, height + 2 * panelInset};
}

} // namespace PanelFrames
