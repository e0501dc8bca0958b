#pragma once
// Icons for the symbol names the application uses ("chevron.backward", "music.note", …): the
// matching freedesktop theme icon when the desktop's theme has one, else a standard icon of the
// widget style, else a small drawn glyph, so that every button shows something.

#include <QIcon>
#include <QString>

namespace Icons {

QIcon symbol(const QString &symbolName);
// The project's own drawing of a symbol, ignoring the theme, in the palette's text colour at the
// moment it is painted: the toolbar's and the lists' symbols, which look alike in either scheme
// whatever the desktop's icon theme.
QIcon drawnSymbol(const QString &symbolName);

} // namespace Icons
