#pragma once
// Icons for the symbol names of the kit's windows ("paperplane", "arrow.right.circle", …): the
// desktop theme's icon of the same purpose, else a standard icon of the widget style.

#include <QIcon>
#include <QString>

namespace KitSymbols {
QIcon icon(const QString &symbolName);
}
