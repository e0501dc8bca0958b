#include "Lumevar/UI/Player/PlayerSymbols.h"

#include <QGuiApplication>
#include <QPainter>
#include <QPainterPath>
#include <QPixmap>
#include <QStringList>
#include <cmath>

namespace {

// Glyphs are drawn on a 20 by 20 grid, scaled into the box.
constexpr qreal grid = 20;

QPainterPath triangle(qreal left, qreal right, qreal top, qreal bottom, bool pointsRight)
{
    QPainterPath path;
    const qreal middle = (top + bottom) / 2;
    if (pointsRight) {
        path.moveTo(left, top);
        path.lineTo(right, middle);
        path.lineTo(left, bottom);
    } else {
        path.moveTo(right, top);
        path.lineTo(left, middle);
        path.lineTo(right, bottom);
    }
    path.closeSubpath();
    return path;
}

void arrowHead(QPainter &p, QPointF tip, qreal dx)
{
    QPainterPath head;
    head.moveTo(tip);
    head.lineTo(tip.x() - dx, tip.y() - 3);
    head.lineTo(tip.x() - dx, tip.y() + 3);
    head.closeSubpath();
    p.fillPath(head, p.pen().color());
}

void drawRepeat(QPainter &p, bool one)
{
    QPen pen = p.pen();
    pen.setWidthF(1.8);
    pen.setCapStyle(Qt::RoundCap);
    p.setPen(pen);
    p.setBrush(Qt::NoBrush);
    QPainterPath loop;
    loop.moveTo(4, 12);
    loop.lineTo(4, 9);
    loop.quadTo(4, 6, 7, 6);
    loop.lineTo(14, 6);
    loop.moveTo(16, 8);
    loop.lineTo(16, 11);
    loop.quadTo(16, 14, 13, 14);
    loop.lineTo(6, 14);
    p.drawPath(loop);
    arrowHead(p, {17.5, 6}, 4);
    arrowHead(p, {2.5, 14}, -4);
    if (one) {
        QFont font = QGuiApplication::font();
        font.setPixelSize(7);
        font.setBold(true);
        p.setFont(font);
        p.drawText(QRectF(7, 6.5, 6, 7.5), Qt::AlignCenter, QStringLiteral("1"));
    }
}

void drawShuffle(QPainter &p)
{
    QPen pen = p.pen();
    pen.setWidthF(1.8);
    pen.setCapStyle(Qt::RoundCap);
    p.setPen(pen);
    p.setBrush(Qt::NoBrush);
    QPainterPath lines;
    lines.moveTo(2, 6);
    lines.lineTo(6, 6);
    lines.cubicTo(10, 6, 10, 14, 14, 14);
    lines.lineTo(15, 14);
    lines.moveTo(2, 14);
    lines.lineTo(6, 14);
    lines.cubicTo(10, 14, 10, 6, 14, 6);
    lines.lineTo(15, 6);
    p.drawPath(lines);
    arrowHead(p, {18.5, 6}, 4);
    arrowHead(p, {18.5, 14}, 4);
}

void drawListBullet(QPainter &p)
{
    const QColor color = p.pen().color();
    QPen pen(color, 1.8, Qt::SolidLine, Qt::RoundCap);
    p.setPen(pen);
    for (const qreal y : {5.0, 10.0, 15.0}) {
        p.setBrush(color);
        p.drawEllipse(QPointF(3.5, y), 1.1, 1.1);
        p.drawLine(QPointF(7, y), QPointF(18, y));
    }
}

void drawPlusCircle(QPainter &p)
{
    const QColor color = p.pen().color();
    QPainterPath disc;
    disc.addEllipse(QPointF(10, 10), 9, 9);
    p.fillPath(disc, color);
    // The plus is cut out of the disc: cleared, so it shows what lies behind the symbol.
    p.setCompositionMode(QPainter::CompositionMode_Clear);
    p.fillRect(QRectF(8.6, 4.5, 2.8, 11), Qt::transparent);
    p.fillRect(QRectF(4.5, 8.6, 11, 2.8), Qt::transparent);
    p.setCompositionMode(QPainter::CompositionMode_SourceOver);
}

void drawSnapBack(QPainter &p, const QColor &accent)
{
    const QColor color = p.pen().color();
    p.setPen(Qt::NoPen);
    p.setBrush(accent.isValid() ? accent : color);
    p.drawEllipse(QPointF(10, 10), 9, 9);
    QPen pen(color, 1.8, Qt::SolidLine, Qt::RoundCap);
    p.setPen(pen);
    p.setBrush(Qt::NoBrush);
    QPainterPath turn;
    turn.moveTo(8, 7);
    turn.lineTo(11, 7);
    turn.quadTo(15, 7, 15, 10.5);
    turn.quadTo(15, 14, 11, 14);
    turn.lineTo(7, 14);
    p.drawPath(turn);
    arrowHead(p, {4.5, 7}, -4);
}

void drawMusicNote(QPainter &p)
{
    const QColor color = p.pen().color();
    p.setPen(Qt::NoPen);
    p.setBrush(color);
    p.drawEllipse(QPointF(7, 15), 3, 2.4);
    p.drawRect(QRectF(8.6, 3, 1.6, 12));
    QPainterPath flag;
    flag.moveTo(10.2, 3);
    flag.cubicTo(13, 4, 15, 5, 15, 8.5);
    flag.cubicTo(14, 6.5, 12, 6.2, 10.2, 6.2);
    flag.closeSubpath();
    p.drawPath(flag);
}

void drawCheckmarkCircle(QPainter &p)
{
    QPen pen = p.pen();
    pen.setWidthF(1.6);
    pen.setCapStyle(Qt::RoundCap);
    pen.setJoinStyle(Qt::RoundJoin);
    p.setPen(pen);
    p.setBrush(Qt::NoBrush);
    p.drawEllipse(QPointF(10, 10), 8.5, 8.5);
    QPainterPath check;
    check.moveTo(6, 10.5);
    check.lineTo(9, 13.5);
    check.lineTo(14.5, 7);
    p.drawPath(check);
}

void drawRotateArrows(QPainter &p)
{
    QPen pen = p.pen();
    pen.setWidthF(1.8);
    pen.setCapStyle(Qt::RoundCap);
    p.setPen(pen);
    p.setBrush(Qt::NoBrush);
    const QRectF circle(3, 3, 14, 14);
    p.drawArc(circle, 20 * 16, 140 * 16);
    p.drawArc(circle, 200 * 16, 140 * 16);
    const auto at = [](qreal degrees) {
        const qreal radians = degrees * M_PI / 180;
        return QPointF(10 + 7 * std::cos(radians), 10 - 7 * std::sin(radians));
    };
    for (const qreal end : {160.0, 340.0}) {
        const QPointF tip = at(end);
        QPainterPath head;
        const qreal radians = end * M_PI / 180;
        // Tangent direction of a counter-clockwise arc at its end.
        const QPointF tangent(-std::sin(radians), -std::cos(radians));
        const QPointF normal(tangent.y(), -tangent.x());
        head.moveTo(tip + tangent * 3);
        head.lineTo(tip - tangent * 1 + normal * 3);
        head.lineTo(tip - tangent * 1 - normal * 3);
        head.closeSubpath();
        p.fillPath(head, pen.color());
    }
}

const QStringList &names()
{
    static const QStringList list = {
        QStringLiteral("backward.fill"), QStringLiteral("play.fill"), QStringLiteral("pause.fill"),
        QStringLiteral("forward.fill"), QStringLiteral("repeat"), QStringLiteral("repeat.1"),
        QStringLiteral("shuffle"), QStringLiteral("list.bullet"), QStringLiteral("plus.circle.fill"),
        QStringLiteral("arrow.uturn.left.circle.fill"), QStringLiteral("music.note"),
        QStringLiteral("checkmark.circle"), QStringLiteral("arrow.trianglehead.2.clockwise.rotate.90"),
    };
    return list;
}

} // namespace

namespace PlayerSymbols {

bool has(const QString &name) { return names().contains(name); }

void draw(QPainter &painter, const QString &name, const QRectF &box, const QColor &color, const QColor &accent)
{
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    const qreal edge = std::min(box.width(), box.height());
    painter.translate(box.center().x() - edge / 2, box.center().y() - edge / 2);
    painter.scale(edge / grid, edge / grid);
    painter.setPen(QPen(color, 1.6));
    if (name == QLatin1String("play.fill")) {
        painter.fillPath(triangle(5, 16, 3, 17, true), color);
    } else if (name == QLatin1String("pause.fill")) {
        painter.fillRect(QRectF(5, 3.5, 3.5, 13), color);
        painter.fillRect(QRectF(11.5, 3.5, 3.5, 13), color);
    } else if (name == QLatin1String("forward.fill")) {
        painter.fillPath(triangle(1.5, 10, 5, 15, true), color);
        painter.fillPath(triangle(10, 18.5, 5, 15, true), color);
    } else if (name == QLatin1String("backward.fill")) {
        painter.fillPath(triangle(1.5, 10, 5, 15, false), color);
        painter.fillPath(triangle(10, 18.5, 5, 15, false), color);
    } else if (name == QLatin1String("repeat") || name == QLatin1String("repeat.1")) {
        drawRepeat(painter, name == QLatin1String("repeat.1"));
    } else if (name == QLatin1String("shuffle")) {
        drawShuffle(painter);
    } else if (name == QLatin1String("list.bullet")) {
        drawListBullet(painter);
    } else if (name == QLatin1String("plus.circle.fill")) {
        drawPlusCircle(painter);
    } else if (name == QLatin1String("arrow.uturn.left.circle.fill")) {
        drawSnapBack(painter, accent);
    } else if (name == QLatin1String("music.note")) {
        drawMusicNote(painter);
    } else if (name == QLatin1String("checkmark.circle")) {
        drawCheckmarkCircle(painter);
    } else if (name == QLatin1String("arrow.trianglehead.2.clockwise.rotate.90")) {
        drawRotateArrows(painter);
    } else {
        painter.setBrush(Qt::NoBrush);
        painter.drawEllipse(QPointF(10, 10), 6, 6);
    }
    painter.restore();
}

QIcon icon(const QString &name, const QColor &color, int edge)
{
    QIcon result;
    for (const qreal scale : {1.0, 2.0}) {
        QPixmap pixmap(int(edge * scale), int(edge * scale));
        pixmap.setDevicePixelRatio(scale);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        draw(painter, name, QRectF(0, 0, edge, edge), color);
        painter.end();
        result.addPixmap(pixmap);
    }
    return result;
}

} // namespace PlayerSymbols
