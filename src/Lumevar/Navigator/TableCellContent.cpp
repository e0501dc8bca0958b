#include "Lumevar/Navigator/TableCellContent.h"

CellAppearance CellAppearance::fromSettings()
{
    CellAppearance appearance;
    appearance.titleWeight = AppearanceSettings::fontWeight();
    appearance.verticalPadding = paddingPoints(AppearanceSettings::padding());
    appearance.artworkSize = AppearanceSettings::artworkSize();
    appearance.maxTitleLines = AppearanceSettings::limitTitlesToOneLine() ? 1 : 2;
    appearance.showSubtitles = AppearanceSettings::showSubtitles();
    appearance.useAlternatingRowColors = AppearanceSettings::useAlternatingRowColors();
    return appearance;
}
