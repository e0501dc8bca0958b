// What the settings and the search panel look like, through the real window offscreen: every
// appearance setting changed in the settings window changes how the Songs rows are drawn, and
// the search panel draws its results. With LUMEVAR_LOOK_DIR set, the pictures are saved there in a
// light and a dark palette for a look by eye.

#include "SearchFixture.h"

#include "Lumevar/UI/MainWindow.h"
#include "Lumevar/UI/Navigator/CollectionListView.h"
#include "Lumevar/UI/Navigator/PaneController.h"
#include "Lumevar/UI/Navigator/PaneScreen.h"
#include "Lumevar/UI/Panels/FloatingPanel.h"
#include "Lumevar/UI/Panels/SearchWindowController.h"
#include "Lumevar/UI/Search/SearchView.h"
#include "Lumevar/UI/Settings/AppearanceSettingsView.h"
#include "Lumevar/UI/Settings/SettingsWindow.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QLineEdit>
#include <QPushButton>
#include <QSlider>
#include <QTabWidget>

namespace {

QPalette darkPalette()
{
    QPalette palette;
    palette.setColor(QPalette::Window, QColor(0x1e, 0x1e, 0x1e));
    palette.setColor(QPalette::WindowText, QColor(0xec, 0xec, 0xec));
    palette.setColor(QPalette::Base, QColor(0x26, 0x26, 0x26));
    palette.setColor(QPalette::AlternateBase, QColor(0x2e, 0x2e, 0x2e));
    palette.setColor(QPalette::Text, QColor(0xec, 0xec, 0xec));
    palette.setColor(QPalette::Button, QColor(0x33, 0x33, 0x33));
    palette.setColor(QPalette::ButtonText, QColor(0xec, 0xec, 0xec));
    palette.setColor(QPalette::Highlight, QColor(0x2f, 0x6f, 0xd6));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Mid, QColor(0x44, 0x44, 0x44));
    return palette;
}

} // namespace

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
        spinUntil([&] { return model._selectedContainerKindID() == QStringLiteral("playlists"); });
        settle();
        model._navigationPath.set({NavigationItem::root(), NavigationItem::container(ContainerKind::songs)});
        model._selectedContainerKindID.set(QStringLiteral("songs"));
        finish(app->topLevelSongsViewModel().loadSongs(false));
        spinUntil([&] { return songs() && songs()->model().count() >= 4; });
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
    static void settle()
    {
        for (int i = 0; i < 5; ++i)
            QCoreApplication::processEvents();
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

TEST_F(AppearanceLookTest, SearchPanelDrawsItsResultsOverTheWindow)
{
    for (const bool dark : {false, true}) {
        if (dark)
            window->setPalette(darkPalette());
        window->openSearch(SearchPickerSelection::library);
        settle();
        ASSERT_TRUE(window->searchController()->isAttached());
        keep(window->grab().toImage(), QStringLiteral("search-empty"), dark);
        const QImage empty = window->searchController()->panel()->grab().toImage();
        window->searchView()->field()->setText(QStringLiteral("harbor"));
        ASSERT_TRUE(spinUntil([&] { return !window->searchView()->sections().isEmpty(); }));
        settle();
        const QImage found = window->searchController()->panel()->grab().toImage();
        EXPECT_GT(found.height(), empty.height());
        keep(window->grab().toImage(), QStringLiteral("search-results"), dark);
        window->searchView()->field()->setText(QStringLiteral("zzzz"));
        ASSERT_TRUE(spinUntil([&] { return window->searchView()->sections().isEmpty(); }));
        settle();
        keep(window->grab().toImage(), QStringLiteral("search-nothing"), dark);
        app->searchViewModel().close();
        settle();
    }
}
