// A first launch as a new user has it: a fresh store, no settings, the real music-folder service
// over real tagged files and a playlist file, the window shown, then the first thing a user does:
// Right into the first playlist, and Return to play it.

#include "ModelTestFixture.h"

#include "../Platform/LocalLibraryTestSupport.h"
#include "Lumevar/App/LumevarApp.h"
#include "Lumevar/UI/MainWindow.h"
#include "Lumevar/UI/Navigator/CollectionListView.h"
#include "Lumevar/UI/Navigator/PaneController.h"
#include "Lumevar/UI/Navigator/PaneScreen.h"
#include "Platform/LocalLibrary/LocalLibraryService.h"

#include <QApplication>
#include <QTest>

using namespace LocalLibraryTestSupport;

class FirstLaunchWindowTest : public ModelTest {
protected:
    FirstLaunchWindowTest()
    {
        writeTrack(music.path(), QStringLiteral("Calm/a.mp3"), tags(QStringLiteral("Alpha"), QStringLiteral("Ann"), QStringLiteral("Calm")));
        writeTrack(music.path(), QStringLiteral("Calm/b.mp3"), tags(QStringLiteral("Beta"), QStringLiteral("Ann"), QStringLiteral("Calm")));
        writeTrack(music.path(), QStringLiteral("Other/c.mp3"), tags(QStringLiteral("Gamma"), QStringLiteral("Bob")));
        writeFile(music.filePath(QStringLiteral("Evening Calm.m3u8")), "Calm/b.mp3\nCalm/a.mp3\n");
        local = std::make_unique<LocalLibraryService>(music.path(), cache.path());
        MusicService::setShared(local.get());
    }
    ~FirstLaunchWindowTest() override
    {
        window.reset();
        app.reset();
        // The list syncs the window started go on with the folder's service and the store; they
        // end here, while the service still exists.
        for (int round = 0; round < 200; ++round) {
            runTask(database->condition());
            QCoreApplication::processEvents();
            clock.advance(0.01);
        }
        MusicService::setShared(&service);
    }

    CollectionListView *list(int pane)
    {
        PaneScreen *screen = window->paneController()->screen(pane);
        return screen ? screen->view() : nullptr;
    }

    QTemporaryDir music;
    QTemporaryDir cache;
    std::unique_ptr<LocalLibraryService> local;
    std::unique_ptr<LumevarApp> app;
    std::unique_ptr<MainWindow> window;
};

TEST_F(FirstLaunchWindowTest, RightShowsTheFirstPlaylistsSongsAndReturnPlaysThem)
{
    ASSERT_FALSE(UserDefaults::standard().boolValue(MainViewModel::performedFullSyncKey));
    LumevarApp::Environment environment;
    environment.isLowPowerMode = []() -> QCoro::Task<bool> { co_return true; };
    environment.terminate = [] {};
    environment.databasePath = database->path();
    app = std::make_unique<LumevarApp>(environment);
    window = std::make_unique<MainWindow>(*app);
    window->resize(1000, 500);
    window->show();
    QApplication::setActiveWindow(window.get());
    finish(app->firstAppear());
    ASSERT_TRUE(UserDefaults::standard().boolValue(MainViewModel::performedFullSyncKey));
    ASSERT_TRUE(advanceUntil([&] { return list(1) && list(1)->model().count() == 1; }, "the playlist in the second pane"));

    QTest::keyClick(list(1), Qt::Key_Right);
    // The playlist's songs in its order, below Play and Shuffle.
    ASSERT_TRUE(advanceUntil([&] { return list(2) && list(2)->model().count() == 4; }, "the playlist's songs in the third pane"))
        << (list(2) ? list(2)->model().count() : -1);
    EXPECT_EQ(list(2)->model().itemTitle(2), QStringLiteral("Beta"));
    EXPECT_EQ(list(2)->model().itemTitle(3), QStringLiteral("Alpha"));

    // Return on the playlist plays it from its first song.
    list(1)->setFocus();
    QTest::keyClick(list(1), Qt::Key_Return);
    ASSERT_TRUE(advanceUntil([&] { return player.queue().entries().size() == 2; }, "the played songs in the queue"));
    EXPECT_EQ(player.queue().entries().first().title, QStringLiteral("Beta"));
    EXPECT_FALSE(app->mainViewModel()._showPlayError());
}
