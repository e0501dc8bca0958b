#include "Lumevar/UI/Icons.h"

#include <QApplication>
#include <QHash>
#include <QPainter>
#include <QPainterPath>
#include <QPixmap>
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
        {QStringLiteral("music.note"), {"audio-x-generic", QStyle::SP_MediaVolume}},
        {QStringLiteral("paintpalette"), {"preferences-desktop-theme", QStyle::SP_DesktopIcon}},
        {QStringLiteral("bell.badge"), {"preferences-desktop-notification", QStyle::SP_MessageBoxInformation}},
    };
    return table;
}

// A plain glyph for symbols that neither the theme nor the style offers.
QIcon drawn(const QString &symbolName)
{
    QPixmap pixmap(32, 32);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    QPen pen(QApplication::palette().color(QPalette::WindowText), 3);
    painter.setPen(pen);
    if (symbolName == QLatin1String("magnifyingglass")) {
        painter.drawEllipse(QRectF(5, 5, 16, 16));
        painter.drawLine(QPointF(19, 19), QPointF(27, 27));
    } else if (symbolName.startsWith(QLatin1String("line.3.horizontal"))) {
        painter.drawLine(6, 9, 26, 9);
        painter.drawLine(9, 16, 23, 16);
        painter.drawLine(12, 23, 20, 23);
    } else {
        painter.drawEllipse(QRectF(8, 8, 16, 16));
    }
    return QIcon(pixmap);
}

} // namespace

namespace Icons {

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
