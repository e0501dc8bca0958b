// Full sync coordination and the launch of the model.

#include "ModelTestFixture.h"

#include "Support/Progress.h"
#include <QCoreApplication>
#include <QElapsedTimer>
#include "Support/UserDefaults.h"

using Op = FakeMusicService::Operation;

class FullSyncTest : public ModelTest {
protected:
    void SetUp() override
    {
        service.library.playlists = {FakeMusicService::playlist(QStringLiteral("p1"), QStringLiteral("One"))};
        service.playlistTracks.insert(MusicItemID(QStringLiteral("p1")), FakeMusicService::songs(2));
        service.library.songs = FakeMusicService::songs(2);
    }
};

TEST_F(FullSyncTest, FirstLaunchSyncsBeforeThePlaylistsAndASecondDoesNot)
{
    service.latency = 0.5;
    const auto done = launch(model->start());
    EXPECT_TRUE(model->_showSyncingToast());
    ASSERT_TRUE(model->_syncProgress());
    const Progress *progress = model->_syncProgress().get();
    EXPECT_EQ(progress->totalUnitCount(), 100);
    EXPECT_TRUE(model->_navigationPath().isEmpty()); // the launch waits for the mirror

    // The store works in real time on its own thread: turn the event loop while time advances.
    QElapsedTimer timer;
    timer.start();
    while (!*done && timer.elapsed() < 5000) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        clock.advance(0.1);
    }
    ASSERT_TRUE(*done);
    EXPECT_FALSE(model->_showSyncingToast());
    EXPECT_EQ(model->_syncProgress().get(), progress); // the finished progress stays
    EXPECT_TRUE(UserDefaults::standard().boolValue(QStringLiteral("performedFullSync")));
    EXPECT_EQ(model->_selectedContainerKindID(), QStringLiteral("playlists"));
    EXPECT_EQ(model->_navigationPath(),
              (QList<NavigationItem>{NavigationItem::root(), NavigationItem::container(ContainerKind::playlists)}));

    // A second launch: no toast, no full sync.
    service.latency = 0;
    service.resetCallCounts();
    MainViewModel second;
    const auto secondDone = launch(second.start());
    EXPECT_FALSE(second._showSyncingToast());
    EXPECT_FALSE(second._syncProgress());
    spinUntil([&] { return *secondDone; });
    EXPECT_TRUE(*secondDone);
    EXPECT_EQ(service.callCount(Op::libraryPlaylists), 0);
    EXPECT_EQ(second._navigationPath().size(), 2);
}

TEST_F(FullSyncTest, FailedSyncHidesTheToastAndLeavesTheFlag)
{
    service.fail(Op::libraryPlaylists, URLError(URLError::notConnectedToInternet), -1);
    finish(model->performFullSync());
    EXPECT_FALSE(model->_showSyncingToast());
    EXPECT_FALSE(UserDefaults::standard().boolValue(QStringLiteral("performedFullSync")));
    EXPECT_TRUE(telemetry.errors.isEmpty()); // offline: logged, not sent

    service.fail(Op::libraryPlaylists, MusicError(MusicError::serviceFailed, QStringLiteral("down")), -1);
    finish(model->start());
    EXPECT_FALSE(UserDefaults::standard().boolValue(QStringLiteral("performedFullSync")));
    ASSERT_FALSE(telemetry.errors.isEmpty());
    EXPECT_EQ(telemetry.errors.first().name, QStringLiteral("error_sync"));
    EXPECT_EQ(model->_navigationPath().size(), 2); // the launch goes on
}
