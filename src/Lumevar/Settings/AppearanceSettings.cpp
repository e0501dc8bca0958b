#include "Lumevar/Settings/AppearanceSettings.h"

#include "Support/UserDefaults.h"

#include <cmath>

QStringList fontWeightTexts()
{
    return {QStringLiteral("Regular"), QStringLiteral("Medium"), QStringLiteral("Semibold"), QStringLiteral("Bold")};
}

QStringList paddingTexts() { return {QStringLiteral("Small"), QStringLiteral("Medium"), QStringLiteral("Large")}; }

double paddingPoints(PaddingSetting padding)
{
    switch (padding) {
    case PaddingSetting::small: return 2.0;
    case PaddingSetting::medium: return 4.0;
    case PaddingSetting::large: return 6.0;
    }
    return 6.0;
}

namespace AppearanceSettings {

int artworkSize() { return int(std::lround(UserDefaults::standard().doubleValue(AppearanceKeys::artworkSize))); }

FontWeightSetting fontWeight()
{
    const qint64 raw = UserDefaults::standard().integerValue(AppearanceKeys::fontWeight);
    return raw >= 0 && raw <= 3 ? FontWeightSetting(raw) : FontWeightSetting::semibold;
}

PaddingSetting padding()
{
    const qint64 raw = UserDefaults::standard().integerValue(AppearanceKeys::padding);
    if (raw >= 2)
        return PaddingSetting::large;
    return raw == 1 ? PaddingSetting::medium : PaddingSetting::small;
}

bool limitTitlesToOneLine() { return UserDefaults::standard().boolValue(AppearanceKeys::limitTitlesToOneLine); }
bool showSubtitles() { return UserDefaults::standard().boolValue(AppearanceKeys::showSubtitles); }
bool useAlternatingRowColors() { return UserDefaults::standard().boolValue(AppearanceKeys::useAlternatingRowColors); }
bool postNotificationsWhenSongChanges()
{
    return UserDefaults::standard().boolValue(AppearanceKeys::postNotificationsWhenSongChanges);
}

} // namespace AppearanceSettings
