#include "DunmoorUIKit/UI/KitSymbols.h"

#include <QApplication>
#include <QPainter>
#include <QPainterPath>
#include <QStyle>

namespace {

struct Symbol {
    const char *name;
    const char *themeName;
    QStyle::StandardPixmap fallback;
};

constexpr Symbol symbols[] = {
    {"arrow.right.circle", "go-next", QStyle::SP_ArrowForward},
    {"doc", "document-new", QStyle::SP_FileIcon},
    {"doc.badge.plus", "document-new", QStyle::SP_FileIcon},
    {"folder", "document-open", QStyle::SP_DirOpenIcon},
    {"star", "starred", QStyle::SP_DialogApplyButton},
    {"sparkles", "starred", QStyle::SP_DialogApplyButton},
    {"bolt", "system-run", QStyle::SP_MediaSeekForward},
    {"magnifyingglass", "edit-find", QStyle::SP_FileDialogContentsView},
    {"music.note", "audio-x-generic", QStyle::SP_MediaVolume},
};

// The paper plane of Send, drawn in the text colour of buttons: desktop themes have no such
// icon (their "mail-send" is an envelope or a tray).
QIcon paperPlane()
{
    QIcon icon;
    for (const QIcon::Mode mode : {QIcon::Normal, QIcon::Disabled}) {
        const QPalette::ColorGroup group = mode == QIcon::Normal ? QPalette::Active : QPalette::Disabled;
        const QColor colour = QApplication::palette().color(group, QPalette::ButtonText);
        for (const int side : {16, 32, 64}) {
            QPixmap pixmap(side, side);
            pixmap.fill(Qt::transparent);
            QPainter painter(&pixmap);
            painter.setRenderHint(QPainter::Antialiasing);
            painter.scale(side / 16.0, side / 16.0);
            QPainterPath plane;
            plane.moveTo(1.5, 7.0);
            plane.lineTo(14.5, 1.5);
            plane.lineTo(9.5, 14.5);
            plane.lineTo(7.5, 8.5);
            plane.closeSubpath();
            painter.setPen(QPen(colour, 1.2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
            painter.setBrush(Qt::NoBrush);
            painter.drawPath(plane);
            painter.drawLine(QPointF(7.5, 8.5), QPointF(14.5, 1.5));
            painter.end();
            icon.addPixmap(pixmap, mode);
        }
    }
    return icon;
}

} // namespace

QIcon KitSymbols::icon(const QString &symbolName)
{
    if (symbolName == QLatin1String("paperplane"))
        return paperPlane();
    for (const Symbol &symbol : symbols) {
        if (symbolName == QLatin1String(symbol.name)) {
            const QIcon themed = QIcon::fromTheme(QLatin1String(symbol.themeName));
            return themed.isNull() ? QApplication::style()->standardIcon(symbol.fallback) : themed;
        }
    }
    const QIcon themed = QIcon::fromTheme(symbolName);
    return themed.isNull() ? QApplication::style()->standardIcon(QStyle::SP_FileIcon) : themed;
}
