#pragma once
// The player's symbols drawn as vector glyphs in a given colour, so that a button can be tinted
// when its mode is on and every theme (or none, on a bare desktop) shows the same shapes.
// Names: "backward.fill", "play.fill", "pause.fill", "forward.fill", "repeat", "repeat.1",
// "shuffle", "list.bullet", "plus.circle.fill", "arrow.uturn.left.circle.fill", "music.note",
// "checkmark.circle", "arrow.trianglehead.2.clockwise.rotate.90".

#include <QColor>
#include <QIcon>
#include <QString>

class QPainter;
class QRectF;

namespace PlayerSymbols {

// Draws the symbol into `box` (a square works best). `accent` is the second colour of the
// two-colour symbols (the SnapBack arrow's disc); other symbols use `color` alone.
void draw(QPainter &painter, const QString &name, const QRectF &box, const QColor &color, const QColor &accent = {});

// The symbol as an icon of the given edge, for buttons.
QIcon icon(const QString &name, const QColor &color, int edge = 16);

bool has(const QString &name);

} // namespace PlayerSymbols
