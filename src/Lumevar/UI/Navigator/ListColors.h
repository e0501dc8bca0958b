#pragma once
// The colours of the navigator, taken from a palette: label, secondary and tertiary label (text
// blended toward the base), separator, the selection of the focused and of an unfocused list,
// the accent red of glyphs, and the artwork placeholder's background. Dark or light is judged
// from the window colour's lightness (this Qt has no colour-scheme query).

#include <QColor>
#include <QPalette>

struct ListColors {
    bool isDark = false;
    QColor label;
    QColor secondaryLabel;
    QColor tertiaryLabel;
    QColor separator;
    QColor base;
    QColor alternateBase;
    QColor emphasizedSelection;   // selected row of the list that has the keyboard focus
    QColor unemphasizedSelection; // selected row of any other list
    QColor selectedLabel;         // text on the emphasized selection
    QColor red;
    QColor artworkBackground;

    static bool isDarkPalette(const QPalette &palette);
    static ListColors from(const QPalette &palette);
};
