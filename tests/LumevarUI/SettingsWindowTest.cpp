// The settings window offscreen: each change stored, signalled and announced once (and nothing
// for showing the stored values), and read back by a fresh reader of the settings file; the quiet
// cases (a slider move inside one step, Restore Defaults at the defaults); the notification
// switch; the consent to share usage statistics.

#include "ModelTestFixture.h"

#include "Lumevar/App/LumevarApp.h"
#include "Lumevar/UI/Settings/AppearanceSettingsView.h"
#include "Lumevar/UI/Settings/NotificationsSettingsView.h"
#include "Lumevar/UI/Settings/PrivacySettingsView.h"
#include "Lumevar/UI/Settings/SettingsWindow.h"
#include "Lumevar/Settings/PrivacySettings.h"
#include "Support/NotificationCenter.h"
#include "Support/UserDefaults.h"
#include "TestKit/Lists.h"

#include <QCheckBox>
#include <QComboBox>
#include <QPushButton>
#include <QSlider>
#include <QTabWidget>
#include <QTest>

class SettingsWindowTest : public ModelTest {
protected:
    SettingsWindowTest()
    {
        UserDefaults::standard().registerDefaults(LumevarApp::registeredDefaults());
        reloadToken = NotificationCenter::shared().addObserver(Notifications::reloadAppearance, [this] { ++reloads; });
        window = std::make_unique<SettingsWindow>();
        window->show();
    }

    AppearanceSettingsView &appearance() { return *window->appearance(); }
    QStringList signalNames() const { return textsOf(telemetry.signals_, &RecordingTelemetry::Sent::name); }
    // What a new process reads from the settings file.
    static QVariant storedAfterRestart(const QString &key)
    {
        UserDefaults::standard().synchronize();
        UserDefaults fresh;
        return fresh.object(key);
    }

    int reloads = 0;
    NotificationToken reloadToken;
    std::unique_ptr<SettingsWindow> window;
};

TEST_F(SettingsWindowTest, EachChangeSignalsAnnouncesAndSurvivesARestart)
{
    appearance().fontWeightPicker()->setCurrentIndex(3);
    appearance().paddingPicker()->setCurrentIndex(0);
    appearance().artworkSizeSlider()->setValue(24);
    appearance().limitTitlesToggle()->click();
    appearance().showSubtitlesToggle()->click();
    appearance().alternatingRowsToggle()->click();

    EXPECT_EQ(signalNames(), (QStringList{QStringLiteral("change_font_weight"), QStringLiteral("change_padding"),
                                          QStringLiteral("change_artwork_size"), QStringLiteral("change_limit_titles_to_one_line"),
                                          QStringLiteral("change_show_subtitles"), QStringLiteral("change_use_alternating_row_colors")}));
    EXPECT_EQ(reloads, 6);

    EXPECT_EQ(storedAfterRestart(AppearanceKeys::fontWeight).toInt(), 3);
    EXPECT_EQ(storedAfterRestart(AppearanceKeys::padding).toInt(), 0);
    EXPECT_EQ(storedAfterRestart(AppearanceKeys::artworkSize).toDouble(), 24.0);
    EXPECT_EQ(storedAfterRestart(AppearanceKeys::limitTitlesToOneLine).toString(), QStringLiteral("true"));
    EXPECT_EQ(storedAfterRestart(AppearanceKeys::showSubtitles).toString(), QStringLiteral("false"));
    EXPECT_EQ(storedAfterRestart(AppearanceKeys::useAlternatingRowColors).toString(), QStringLiteral("true"));
    EXPECT_EQ(AppearanceSettings::fontWeight(), FontWeightSetting::bold);
    EXPECT_EQ(AppearanceSettings::padding(), PaddingSetting::small);
    EXPECT_EQ(AppearanceSettings::artworkSize(), 24);

    // A window opened later shows what is stored.
    SettingsWindow reopened;
    EXPECT_EQ(reopened.appearance()->fontWeightPicker()->currentText(), QStringLiteral("Bold"));
    EXPECT_EQ(reopened.appearance()->artworkSizeSlider()->value(), 24);
    EXPECT_FALSE(reopened.appearance()->showSubtitlesToggle()->isChecked());
}

TEST_F(SettingsWindowTest, RestoreDefaultsSignalsOnlyWhatDifferedAndSmallMovesStayQuiet)
{
    QTest::mouseClick(appearance().restoreDefaultsButton(), Qt::LeftButton);
    EXPECT_TRUE(telemetry.signals_.isEmpty());
    EXPECT_EQ(reloads, 0);

    SettingsEditor editor;
    // Inside one whole step: stored, but nothing sent.
    editor.setArtworkSize(32.6);
    EXPECT_TRUE(telemetry.signals_.isEmpty());
    EXPECT_EQ(UserDefaults::standard().doubleValue(AppearanceKeys::artworkSize), 32.6);

    // An out-of-range weight reads as semibold, yet writing semibold over it is a change.
    UserDefaults::standard().set(AppearanceKeys::fontWeight, 7);
    EXPECT_EQ(AppearanceSettings::fontWeight(), FontWeightSetting::semibold);
    appearance().paddingPicker()->setCurrentIndex(1);
    appearance().alternatingRowsToggle()->click();
    telemetry.signals_.clear();
    reloads = 0;
    QTest::mouseClick(appearance().restoreDefaultsButton(), Qt::LeftButton);
    EXPECT_EQ(signalNames(), (QStringList{QStringLiteral("change_font_weight"), QStringLiteral("change_padding"),
                                          QStringLiteral("change_use_alternating_row_colors")}));
    EXPECT_EQ(reloads, 3);
    EXPECT_EQ(appearance().paddingPicker()->currentText(), QStringLiteral("Large"));
    EXPECT_FALSE(appearance().alternatingRowsToggle()->isChecked());
}

TEST_F(SettingsWindowTest, NotificationSwitchIsStoredAndFollowsTheStoredValue)
{
    QCheckBox *toggle = window->notifications()->notificationToggle();
    toggle->click();
    EXPECT_TRUE(AppearanceSettings::postNotificationsWhenSongChanges());
    EXPECT_EQ(storedAfterRestart(AppearanceKeys::postNotificationsWhenSongChanges).toString(), QStringLiteral("true"));
    // Not an appearance setting: the lists are not rebuilt for it.
    EXPECT_EQ(reloads, 0);
    toggle->click();
    EXPECT_FALSE(AppearanceSettings::postNotificationsWhenSongChanges());

    // Switched on elsewhere, the window shows it.
    UserDefaults::standard().set(AppearanceKeys::postNotificationsWhenSongChanges, true);
    EXPECT_TRUE(toggle->isChecked());
}

TEST_F(SettingsWindowTest, UsageStatisticsStayOffUntilSwitchedOn)
{
    ASSERT_EQ(window->tabs()->tabText(2), QStringLiteral("Privacy"));
    QCheckBox *toggle = window->privacy()->usageStatisticsToggle();
    EXPECT_EQ(toggle->text(), QStringLiteral("Share anonymous usage statistics"));
    EXPECT_FALSE(toggle->isChecked());
    EXPECT_FALSE(storedAfterRestart(PrivacyKeys::shareUsageStatistics).isValid());
    toggle->click();
    EXPECT_EQ(storedAfterRestart(PrivacyKeys::shareUsageStatistics).toString(), QStringLiteral("true"));
    EXPECT_TRUE(telemetry.signals_.isEmpty());
    EXPECT_EQ(reloads, 0);
    // Reset Data forgets it: off again.
    UserDefaults::standard().removePersistentDomain();
    EXPECT_FALSE(toggle->isChecked());
}
