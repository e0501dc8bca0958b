#pragma once
// The writes behind the settings window. Each appearance setting that really changes sends its
// usage signal and then posts "reloadAppearance", on which every list rebuilds its rows; a write
// of the value already stored sends and posts nothing. The artwork size counts as changed only
// when its whole number changes, so that a slider move inside one step stays quiet.
//
// Turning the notification switch on asks the desktop's notification service whether it is
// there; the answer, whatever it is, sends "subscribe_notifications", and a failure to ask is
// reported and turns the switch back off. Turning it off only stores the value.
//
// Main thread only. The values live in UserDefaults::standard().

#include "Lumevar/Settings/AppearanceSettings.h"

#include <QCoroTask>
#include <functional>

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
    // Asks the notification service for permission to post; throws when it cannot be asked.
    using NotificationAuthorizer = std::function<QCoro::Task<void>()>;
    // Asks the freedesktop notification service on the session bus.
    static NotificationAuthorizer desktopNotificationAuthorizer();

    explicit SettingsEditor(NotificationAuthorizer authorizer = desktopNotificationAuthorizer());

    void setArtworkSize(double size);
    void setFontWeight(FontWeightSetting weight);
    void setPadding(PaddingSetting padding);
    void setLimitTitlesToOneLine(bool on);
    void setShowSubtitles(bool on);
    void setUseAlternatingRowColors(bool on);
    // Writes every appearance default, in the window's order; only those that differed signal.
    void restoreDefaults();

    // Stores the switch; from off to on, the returned task asks for permission (see above).
    QCoro::Task<void> setPostNotificationsWhenSongChanges(bool on);

private:
    NotificationAuthorizer m_authorizer;
};
