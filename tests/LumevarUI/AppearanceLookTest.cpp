// What the settings look like, through the real window offscreen: every appearance setting
// changed in the settings window changes how the Songs rows are drawn. With LUMEVAR_LOOK_DIR set,
// the pictures are saved there in a light and a dark palette for a look by eye.

#include "SearchFixture.h"

#include "Lumevar/UI/MainWindow.h"
#include "Lumevar/UI/Navigator/CollectionListView.h"
#include "Lumevar/UI/Navigator/PaneController.h"
#include "Lumevar/UI/Navigator/PaneScreen.h"
#include "Lumevar/UI/Settings/AppearanceSettingsView.h"
#include "Lumevar/UI/Settings/SettingsWindow.h"
#include "TestKit/TestPalettes.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QPushButton>
#include <QSlider>
#include <QTabWidget>

class AppearanceLookTest : public SearchFixture {
protected:
    AppearanceLookTest()
    {
        // A title long enough to wrap in one pane's width.
        service.library.songs.append(FakeMusicService::song(
            QStringLiteral("s9"), QStringLiteral("A Very Long Song Title That Needs Two Lines In A Narrow Pane"), QStringLiteral("Harbor Band")));
        UserDefaults::standard().registerDefaults(LumevarApp::registeredDefaults());
        syncLibrary();
        window = std::make_unique<MainWindow>(*app);
        window->resize(700, 500);
        window->show();
        MainViewModel &model = app->mainViewModel();
        // Showing the window launched the application; that ends before the test moves on.
        EXPECT_TRUE(waitUntil([&] { return model._selectedContainerKindID() == QStringLiteral("playlists"); }));
        settle();
        model._navigationPath.set({NavigationItem::root(), NavigationItem::container(ContainerKind::songs)});
        model._selectedContainerKindID.set(QStringLiteral("songs"));
        finish(app->topLevelSongsViewModel().loadSongs(false));
        EXPECT_TRUE(waitUntil([&] { return songs() && songs()->model().count() >= 4; }));
    }
    ~AppearanceLookTest() override
    {
        window.reset();
        QCoreApplication::processEvents();
    }

    CollectionListView *songs() const
    {
        PaneScreen *screen = window->paneController()->screen(1);
        return screen ? screen->view() : nullptr;
    }
    // Saves a picture when asked to, as <dir>/<name>-<light|dark>.png.
    static void keep(const QImage &image, const QString &name, bool dark)
    {
        const QString dir = qEnvironmentVariable("LUMEVAR_LOOK_DIR");
        if (!dir.isEmpty() && QDir().mkpath(dir))
            image.save(dir + QLatin1Char('/') + name + (dark ? QStringLiteral("-dark.png") : QStringLiteral("-light.png")));
    }
    QImage rows()
    {
        settle();
        return songs()->grab().toImage();
    }

    std::unique_ptr<MainWindow> window;
};

TEST_F(AppearanceLookTest, EverySettingChangesHowRowsAreDrawn)
{
    for (const bool dark : {false, true}) {
        if (dark)
            window->setPalette(darkPalette());
        SettingsWindow settings;
        if (dark)
            settings.setPalette(darkPalette());
        settings.show();
        AppearanceSettingsView &view = *settings.appearance();
        keep(settings.grab().toImage(), QStringLiteral("settings-appearance"), dark);
        settings.tabs()->setCurrentIndex(1);
        keep(settings.grab().toImage(), QStringLiteral("settings-notifications"), dark);
        settings.tabs()->setCurrentIndex(0);

        const std::vector<std::pair<const char *, std::function<void()>>> changes = {
            {"font-weight-regular", [&] { view.fontWeightPicker()->setCurrentIndex(0); }},
            {"padding-small", [&] { view.paddingPicker()->setCurrentIndex(0); }},
            {"artwork-22", [&] { view.artworkSizeSlider()->setValue(22); }},
            {"one-line-titles", [&] { view.limitTitlesToggle()->click(); }},
            {"no-subtitles", [&] { view.showSubtitlesToggle()->click(); }},
            {"alternating-rows", [&] { view.alternatingRowsToggle()->click(); }},
        };
        QImage before = rows();
        keep(before, QStringLiteral("rows-defaults"), dark);
        for (const auto &[name, change] : changes) {
            change();
            const QImage after = rows();
            EXPECT_NE(after, before) << name << (dark ? " (dark)" : " (light)");
            keep(after, QStringLiteral("rows-") + QString::fromLatin1(name), dark);
            before = after;
        }
        view.restoreDefaultsButton()->click();
    }
}
