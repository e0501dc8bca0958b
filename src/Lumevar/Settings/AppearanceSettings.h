#pragma once
// The appearance settings of the lists and the notification switch, read from the standard user
// defaults at the point of use. The settings window writes the same keys; every list re-reads them
// when "reloadAppearance" is posted.

#include <QString>
#include <QStringList>

// Weight of a row's title.
enum class FontWeightSetting { regular = 0, medium = 1, semibold = 2, bold = 3 };
// Vertical padding of a row.
enum class PaddingSetting { small = 0, medium = 1, large = 2 };

namespace AppearanceKeys {
inline const QString artworkSize = QStringLiteral("artworkSize");
inline const QString fontWeight = QStringLiteral("fontWeight");
inline const QString padding = QStringLiteral("padding");
inline const QString limitTitlesToOneLine = QStringLiteral("limitTitlesToOneLine");
inline const QString showSubtitles = QStringLiteral("showSubtitles");
inline const QString useAlternatingRowColors = QStringLiteral("useAlternatingRowColors");
inline const QString postNotificationsWhenSongChanges = QStringLiteral("postNotificationsWhenSongChanges");
} // namespace AppearanceKeys

// The words the settings window shows for each case, in raw-value order.
QStringList fontWeightTexts();
QStringList paddingTexts();
// Vertical padding of a row in points: 2, 4 or 6.
double paddingPoints(PaddingSetting padding);

// Typed reads of the stored values (registered defaults apply when nothing is stored).
namespace AppearanceSettings {
// "artworkSize" rounded to a whole number.
int artworkSize();
// "fontWeight"; a value outside 0 to 3 gives semibold.
FontWeightSetting fontWeight();
// "padding"; any value at or above 2 gives large, below 1 small.
PaddingSetting padding();
bool limitTitlesToOneLine();
bool showSubtitles();
bool useAlternatingRowColors();
bool postNotificationsWhenSongChanges();
} // namespace AppearanceSettings
