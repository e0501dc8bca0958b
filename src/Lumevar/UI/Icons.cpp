#include "Lumevar/UI/Icons.h"

#include <QApplication>
#include <QHash>
#include <QIconEngine>
#include <QPainter>
#include <QPainterPath>
#include <QPixmap>
#include <QPolygonF>
#include <QStyle>

namespace {

struct IconSource {
    const char *themeName;
    QStyle::StandardPixmap standard; // SP_CustomBase: none
};

const QHash<QString, IconSource> &sources()
{
    static const QHash<QString, IconSource> table = {
        {QStringLiteral("chevron.backward"), {"go-previous", QStyle::SP_ArrowBack}},
        {QStringLiteral("magnifyingglass"), {"edit-find", QStyle::SP_CustomBase}},
        {QStringLiteral("line.3.horizontal.decrease.circle"), {"view-sort-ascending", QStyle::SP_CustomBase}},
        {QStringLiteral("play.fill"), {"media-playback-start", QStyle::SP_MediaPlay}},
        {QStringLiteral("pause.fill"), {"media-playback-pause", QStyle::SP_MediaPause}},
        {QStringLiteral("stop.fill"), {"media-playback-stop", QStyle::SP_MediaStop}},
        {QStringLiteral("forward.fill"), {"media-skip-forward", QStyle::SP_MediaSkipForward}},
        {QStringLiteral("backward.fill"), {"media-skip-backward", QStyle::SP_MediaSkipBackward}},
        {QStringLiteral("checkmark.circle"), {"emblem-ok", QStyle::SP_DialogApplyButton}},
        {QStringLiteral("arrow.trianglehead.2.clockwise.rotate.90"), {"view-refresh", QStyle::SP_BrowserReload}},
        {QStringLiteral("music.note"), {"audio-x-generic", QStyle::SP_CustomBase}},
        {QStringLiteral("square.grid.3x3"), {"view-grid", QStyle::SP_CustomBase}},
        {QStringLiteral("square.stack"), {"media-optical", QStyle::SP_CustomBase}},
        {QStringLiteral("music.microphone"), {"audio-input-microphone", QStyle::SP_CustomBase}},
        {QStringLiteral("person.crop.square"), {"avatar-default", QStyle::SP_CustomBase}},
        {QStringLiteral("radio"), {"radio", QStyle::SP_CustomBase}},
        {QStringLiteral("shuffle"), {"media-playlist-shuffle", QStyle::SP_CustomBase}},
        {QStringLiteral("chevron.right"), {"go-next", QStyle::SP_CustomBase}},
        {QStringLiteral("paintpalette"), {"preferences-desktop-theme", QStyle::SP_DesktopIcon}},
        {QStringLiteral("bell.badge"), {"preferences-desktop-notification", QStyle::SP_MessageBoxInformation}},
        {QStringLiteral("hand.raised"), {"security-high", QStyle::SP_DialogYesButton}},
        {QStringLiteral("server.rack"), {"network-server", QStyle::SP_DriveNetIcon}},
    };
    return table;
}

// Lumevar's own glyph of a symbol, on a 32 x 32 grid, in one colour.
void paintSymbol(QPainter &painter, const QString &symbolName, const QColor &color)
{
    painter.setRenderHint(QPainter::Antialiasing);
    QPen pen(color, 3);
    pen.setCapStyle(Qt::RoundCap);
    pen.setJoinStyle(Qt::RoundJoin);
    painter.setPen(pen);
    if (symbolName == QLatin1String("chevron.backward")) {
        painter.drawPolyline(QPolygonF({QPointF(20, 6), QPointF(10, 16), QPointF(20, 26)}));
    } else if (symbolName == QLatin1String("line.3.horizontal.decrease.circle")) {
        pen.setWidthF(2.5);
        painter.setPen(pen);
        painter.drawEllipse(QRectF(2.5, 2.5, 27, 27));
        painter.drawLine(QPointF(9, 11), QPointF(23, 11));
        painter.drawLine(QPointF(11.5, 16), QPointF(20.5, 16));
        painter.drawLine(QPointF(14, 21), QPointF(18, 21));
    } else if (symbolName == QLatin1String("magnifyingglass")) {
        painter.drawEllipse(QRectF(5, 5, 16, 16));
        painter.drawLine(QPointF(19, 19), QPointF(27, 27));
    } else if (symbolName.startsWith(QLatin1String("line.3.horizontal"))) {
        painter.drawLine(6, 9, 26, 9);
        painter.drawLine(9, 16, 23, 16);
        painter.drawLine(12, 23, 20, 23);
    } else if (symbolName == QLatin1String("square.grid.3x3")) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(pen.color());
        for (int row = 0; row < 3; ++row)
            for (int column = 0; column < 3; ++column)
                painter.drawRoundedRect(QRectF(4 + column * 9, 4 + row * 9, 7, 7), 1.5, 1.5);
    } else if (symbolName == QLatin1String("square.stack")) {
        painter.drawRoundedRect(QRectF(5, 10, 22, 18), 3, 3);
        painter.drawLine(QPointF(8, 6), QPointF(24, 6));
        painter.drawLine(QPointF(11, 2.5), QPointF(21, 2.5));
    } else if (symbolName == QLatin1String("music.microphone")) {
        painter.drawRoundedRect(QRectF(11, 3, 10, 16), 5, 5);
        painter.drawArc(QRectF(7, 9, 18, 14), 180 * 16, 180 * 16);
        painter.drawLine(QPointF(16, 23), QPointF(16, 29));
    } else if (symbolName == QLatin1String("person.crop.square")) {
        painter.drawRoundedRect(QRectF(3, 3, 26, 26), 5, 5);
        painter.drawEllipse(QRectF(11.5, 8, 9, 9));
        painter.drawArc(QRectF(8, 19, 16, 14), 0, 180 * 16);
    } else if (symbolName == QLatin1String("radio")) {
        painter.drawRoundedRect(QRectF(3, 11, 26, 17), 4, 4);
        painter.drawLine(QPointF(8, 11), QPointF(24, 4));
        painter.drawEllipse(QRectF(17, 15, 8, 8));
        painter.drawLine(QPointF(7, 17), QPointF(13, 17));
        painter.drawLine(QPointF(7, 22), QPointF(13, 22));
    } else if (symbolName == QLatin1String("music.note")) {
        painter.setBrush(pen.color());
        painter.drawEllipse(QRectF(7, 20, 9, 7));
        painter.drawLine(QPointF(15.5, 23), QPointF(15.5, 5));
        painter.drawLine(QPointF(15.5, 5), QPointF(25, 9));
    } else if (symbolName == QLatin1String("shuffle")) {
        painter.drawLine(QPointF(4, 9), QPointF(10, 9));
        painter.drawLine(QPointF(10, 9), QPointF(20, 23));
        painter.drawLine(QPointF(20, 23), QPointF(27, 23));
        painter.drawLine(QPointF(4, 23), QPointF(10, 23));
        painter.drawLine(QPointF(10, 23), QPointF(20, 9));
        painter.drawLine(QPointF(20, 9), QPointF(27, 9));
        painter.drawPolyline(QPolygonF({QPointF(23, 5), QPointF(27, 9), QPointF(23, 13)}));
        painter.drawPolyline(QPolygonF({QPointF(23, 19), QPointF(27, 23), QPointF(23, 27)}));
    } else if (symbolName == QLatin1String("chevron.right")) {
        painter.drawPolyline(QPolygonF({QPointF(12, 6), QPointF(22, 16), QPointF(12, 26)}));
    } else if (symbolName == QLatin1String("play.fill")) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(pen.color());
        painter.drawPolygon(QPolygonF({QPointF(9, 5), QPointF(27, 16), QPointF(9, 27)}));
    } else if (symbolName == QLatin1String("pause.fill")) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(pen.color());
        painter.drawRoundedRect(QRectF(8, 5, 6, 22), 1.5, 1.5);
        painter.drawRoundedRect(QRectF(18, 5, 6, 22), 1.5, 1.5);
    } else {
        painter.drawEllipse(QRectF(8, 8, 16, 16));
    }
}

// Draws the glyph whenever it is asked for, in the text colour of the palette of that moment, so
// that a button's symbol follows a change between the light and the dark scheme.
class SymbolEngine : public QIconEngine {
public:
    explicit SymbolEngine(QString name) : m_name(std::move(name)) {}

    void paint(QPainter *painter, const QRect &rect, QIcon::Mode mode, QIcon::State) override
    {
        const QPalette palette = QApplication::palette();
        QColor color = palette.color(mode == QIcon::Disabled ? QPalette::Disabled : QPalette::Active, QPalette::WindowText);
        if (mode == QIcon::Selected)
            color = palette.color(QPalette::HighlightedText);
        painter->save();
        painter->translate(rect.topLeft());
        painter->scale(rect.width() / 32.0, rect.height() / 32.0);
        paintSymbol(*painter, m_name, color);
        painter->restore();
    }

    QPixmap pixmap(const QSize &size, QIcon::Mode mode, QIcon::State state) override
    {
        QPixmap pixmap(size);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        paint(&painter, QRect(QPoint(), size), mode, state);
        return pixmap;
    }

    QIconEngine *clone() const override { return new SymbolEngine(m_name); }

private:
    QString m_name;
};

QIcon drawn(const QString &symbolName) { return QIcon(new SymbolEngine(symbolName)); }

} // namespace

namespace Icons {

QIcon drawnSymbol(const QString &symbolName) { return drawn(symbolName); }

QIcon symbol(const QString &symbolName)
{
    const auto found = sources().constFind(symbolName);
    if (found == sources().constEnd())
        return drawn(symbolName);
    const QString themeName = QString::fromLatin1(found->themeName);
    if (QIcon::hasThemeIcon(themeName))
        return QIcon::fromTheme(themeName);
    if (found->standard != QStyle::SP_CustomBase && qApp)
        return QApplication::style()->standardIcon(found->standard);
    return drawn(symbolName);
}

} // namespace Icons
