#pragma once
// A dark palette like a desktop's dark scheme, for drawing tests of both schemes.

#include <QPalette>

inline QPalette darkPalette()
{
    QPalette palette;
    palette.setColor(QPalette::Window, QColor(0x2b, 0x2b, 0x2d));
    palette.setColor(QPalette::WindowText, QColor(0xec, 0xec, 0xec));
    palette.setColor(QPalette::Base, QColor(0x1e, 0x1e, 0x20));
    palette.setColor(QPalette::AlternateBase, QColor(0x26, 0x26, 0x28));
    palette.setColor(QPalette::Text, QColor(0xec, 0xec, 0xec));
    palette.setColor(QPalette::Button, QColor(0x3a, 0x3a, 0x3c));
    palette.setColor(QPalette::ButtonText, QColor(0xec, 0xec, 0xec));
    palette.setColor(QPalette::Mid, QColor(0x48, 0x48, 0x4a));
    palette.setColor(QPalette::Highlight, QColor(0x0a, 0x60, 0xd0));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    return palette;
}
