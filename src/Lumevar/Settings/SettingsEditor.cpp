#include "Lumevar/Settings/SettingsEditor.h"
#include "Lumevar/Settings/PrivacySettings.h"

#include "Lumevar/Model/ErrorReporting.h"
#include "Support/NotificationCenter.h"
#include "Support/UserDefaults.h"

namespace {

UserDefaults &defaults() { return UserDefaults::standard(); }

QString boolText(bool value) { return value ? QStringLiteral("true") : QStringLiteral("false"); }

void announce(AppSignal signal, const QString &parameter, const QString &value)
{
    sendAppSignal(signal, {{parameter, value}});
    NotificationCenter::shared().post(Notifications::reloadAppearance);
}

// The stored integer as written (also outside the cases' range), so that a write of a case over
// an out-of-range value counts as a change.
void setInteger(const QString &key, int value, AppSignal signal, const QString &parameter)
{
    const bool changed = defaults().integerValue(key) != value;
    defaults().set(key, value);
    if (changed)
        announce(signal, parameter, QString::number(value));
}

void setBool(const QString &key, bool value, AppSignal signal)
{
    const bool changed = defaults().boolValue(key) != value;
    defaults().set(key, value);
    if (changed)
        announce(signal, QStringLiteral("enabled"), boolText(value));
}

} // namespace

void SettingsEditor::setArtworkSize(double size)
{
    const int before = int(defaults().doubleValue(AppearanceKeys::artworkSize));
    defaults().set(AppearanceKeys::artworkSize, size);
    if (int(size) != before)
        announce(AppSignal::changeArtworkSize, QStringLiteral("size"), QString::number(int(size)));
}

void SettingsEditor::setFontWeight(FontWeightSetting weight)
{
    setInteger(AppearanceKeys::fontWeight, int(weight), AppSignal::changeFontWeight, QStringLiteral("weight"));
}

void SettingsEditor::setPadding(PaddingSetting padding)
{
    setInteger(AppearanceKeys::padding, int(padding), AppSignal::changePadding, QStringLiteral("padding"));
}

void SettingsEditor::setLimitTitlesToOneLine(bool on)
{
    setBool(AppearanceKeys::limitTitlesToOneLine, on, AppSignal::changeLimitTitlesToOneLine);
}

void SettingsEditor::setShowSubtitles(bool on) { setBool(AppearanceKeys::showSubtitles, on, AppSignal::changeShowSubtitles); }

void SettingsEditor::setUseAlternatingRowColors(bool on)
{
    setBool(AppearanceKeys::useAlternatingRowColors, on, AppSignal::changeUseAlternatingRowColors);
}

void SettingsEditor::restoreDefaults()
{
    setArtworkSize(SettingsDefaults::artworkSize);
    setFontWeight(SettingsDefaults::fontWeight);
    setPadding(SettingsDefaults::padding);
    setLimitTitlesToOneLine(SettingsDefaults::limitTitlesToOneLine);
    setShowSubtitles(SettingsDefaults::showSubtitles);
    setUseAlternatingRowColors(SettingsDefaults::useAlternatingRowColors);
}

void SettingsEditor::setPostNotificationsWhenSongChanges(bool on)
{
    defaults().set(AppearanceKeys::postNotificationsWhenSongChanges, on);
}

void SettingsEditor::setShareUsageStatistics(bool on) { defaults().set(PrivacyKeys::shareUsageStatistics, on); }
