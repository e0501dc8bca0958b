#pragma once
// Light or dark, judged from the palette's window colour (Qt 6.4 has no colour-scheme query).
// Widgets re-read it on QEvent::PaletteChange.

#include <QPalette>

inline bool isDarkScheme(const QPalette &palette) { return palette.color(QPalette::Window).lightness() < 128; }
