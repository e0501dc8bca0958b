#include "DunmoorUIKit/UI/KitSymbols.h"

#include <QApplication>
#include <QStyle>

namespace {

struct Symbol {
    const char *name;
    const char *themeName;
    QStyle::StandardPixmap fallback;
};

constexpr Symbol symbols[] = {
    {"paperplane", "mail-send", QStyle::SP_ArrowForward},
    {"arrow.right.circle", "go-next", QStyle::SP_ArrowForward},
    {"doc", "document-new", QStyle::SP_FileIcon},
    {"doc.badge.plus", "document-new", QStyle::SP_FileIcon},
    {"folder", "document-open", QStyle::SP_DirOpenIcon},
    {"star", "starred", QStyle::SP_DialogApplyButton},
    {"sparkles", "weather-clear-night", QStyle::SP_DialogApplyButton},
    {"bolt", "system-run", QStyle::SP_MediaSeekForward},
    {"magnifyingglass", "edit-find", QStyle::SP_FileDialogContentsView},
    {"music.note", "audio-x-generic", QStyle::SP_MediaVolume},
};

} // namespace

QIcon KitSymbols::icon(const QString &symbolName)
{
    for (const Symbol &symbol : symbols) {
        if (symbolName == QLatin1String(symbol.name)) {
            const QIcon themed = QIcon::fromTheme(QLatin1String(symbol.themeName));
            return themed.isNull() ? QApplication::style()->standardIcon(symbol.fallback) : themed;
        }
    }
    const QIcon themed = QIcon::fromTheme(symbolName);
    return themed.isNull() ? QApplication::style()->standardIcon(QStyle::SP_FileIcon) : themed;
}
