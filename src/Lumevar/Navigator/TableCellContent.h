#pragma once
// What one row of a list shows, as its list's configurator fills it in, and the appearance
// settings every row reads (weight, padding, artwork size, title lines, subtitles). The painting
// delegate draws from these values alone: no settings or store reads while painting.

#include "Lumevar/Settings/AppearanceSettings.h"

#include <QString>
#include <QUrl>
#include <optional>

enum class ArtworkStyle { roundedRect, circular };

// Whether a configuration is for a row to be shown, or for the measure of its height only (a
// configurator may leave costly work such as starting an artwork load out of the latter).
enum class ConfigurationType { regular, preview };

struct TableCellContent {
    QString title;
    QString subtitle;
    std::optional<QString> glyph; // symbol shown in the artwork slot instead of artwork
    bool showGlyphBackground = true;
    std::optional<QUrl> artworkURL;
    std::optional<QString> artworkID;
    ArtworkStyle artworkStyle = ArtworkStyle::roundedRect;
    bool showNowPlayingIndicator = false;
    bool canShowChevron = true;
    bool isEnabled = true;
};

struct CellAppearance {
    FontWeightSetting titleWeight = FontWeightSetting::semibold;
    double verticalPadding = 6;
    double artworkSize = 32;
    int maxTitleLines = 2;
    bool showSubtitles = true;
    bool useAlternatingRowColors = false;

    // Read once from the stored settings (registered defaults apply), then again on each
    // "reloadAppearance".
    static CellAppearance fromSettings();
    friend bool operator==(const CellAppearance &, const CellAppearance &) = default;
};
