#pragma once
// The writes behind the settings window. Each appearance setting that really changes sends its
// usage signal and then posts "reloadAppearance", on which every list rebuilds its rows; a write
// of the value already stored sends and posts nothing. The artwork size counts as changed only
// when its whole number changes, so that a slider move inside one step stays quiet.
//
// The notification switch is only stored here: the song-change notifier follows the stored value
// (and counts each turn from off to on), as the desktop asks no permission to post.
//
// Main thread only. The values live in UserDefaults::standard().

#include "Lumevar/Settings/AppearanceSettings.h"


namespace SettingsDefaults {
constexpr double artworkSize = 32.0;
constexpr FontWeightSetting fontWeight = FontWeightSetting::semibold;
constexpr PaddingSetting padding = PaddingSetting::large;
constexpr bool limitTitlesToOneLine = false;
constexpr bool showSubtitles = true;
constexpr bool useAlternatingRowColors = false;
constexpr int minimumArtworkSize = 22;
constexpr int maximumArtworkSize = 32;
} // namespace SettingsDefaults

class SettingsEditor {
public:
    void setArtworkSize(double size);
    void setFontWeight(FontWeightSetting weight);
    void setPadding(PaddingSetting padding);
    void setLimitTitlesToOneLine(bool on);
    void setShowSubtitles(bool on);
    void setUseAlternatingRowColors(bool on);
    // Writes every appearance default, in the window's order; only those that differed signal.
    void restoreDefaults();

    void setPostNotificationsWhenSongChanges(bool on);
    // The consent to send anonymous usage statistics; UsageStatistics follows the stored value.
    void setShareUsageStatistics(bool on);
};
