#include "Lumevar/UI/Navigator/ListColors.h"

namespace {

QColor blend(const QColor &from, const QColor &to, double amount)
{
    return QColor::fromRgbF(float(from.redF() + (to.redF() - from.redF()) * amount),
                            float(from.greenF() + (to.greenF() - from.greenF()) * amount),
                            float(from.blueF() + (to.blueF() - from.blueF()) * amount));
}

} // namespace

bool ListColors::isDarkPalette(const QPalette &palette) { return palette.color(QPalette::Window).lightnessF() < 0.5; }

ListColors ListColors::from(const QPalette &palette)
{
    ListColors colors;
    colors.isDark = isDarkPalette(palette);
    colors.base = palette.color(QPalette::Base);
    colors.alternateBase = palette.color(QPalette::AlternateBase);
    colors.label = palette.color(QPalette::Text);
    colors.secondaryLabel = blend(colors.label, colors.base, 0.45);
    colors.tertiaryLabel = blend(colors.label, colors.base, 0.7);
    // The label blended far toward the base, as a hair-line wants: a theme's mid tone is no
    // measure (GTK's dark Adwaita gives one its base's colour, and the lines vanish).
    colors.separator = blend(colors.label, colors.base, colors.isDark ? 0.82 : 0.72);
    colors.emphasizedSelection = palette.color(QPalette::Active, QPalette::Highlight);
    colors.selectedLabel = palette.color(QPalette::Active, QPalette::HighlightedText);
    colors.unemphasizedSelection = blend(colors.base, colors.label, colors.isDark ? 0.18 : 0.12);
    colors.red = colors.isDark ? QColor(255, 69, 58) : QColor(255, 59, 48);
    colors.artworkBackground = blend(colors.base, colors.label, colors.isDark ? 0.16 : 0.08);
    return colors;
}
