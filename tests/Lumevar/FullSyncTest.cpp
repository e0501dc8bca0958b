// Full sync coordination and the launch of the model.

#include "ModelTestFixture.h"

#include "Support/Observable.h"
#include "Support/Progress.h"
#include "Support/UserDefaults.h"
#include "TestKit/TmpfsMount.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

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

    // While a service gathers its songs, the songs' share (60 of 100, after the 20 of the other
    // lists) moves with what it has listed.
    ASSERT_TRUE(advanceUntil([&] { return service.callCount(Op::librarySongs) == 1; }, "the songs' listing", 0.1));
    Q_EMIT service.librarySongsListed(1, 2);
    EXPECT_EQ(progress->completedUnitCount(), 50);

    // The store works in real time on its own thread: turn the event loop while time advances.
    ASSERT_TRUE(advanceUntil([&] { return *done; }, "the first launch's end", 0.1));
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
    ASSERT_TRUE(waitUntil([&] { return *secondDone; }));
    EXPECT_TRUE(*secondDone);
    EXPECT_EQ(service.callCount(Op::libraryPlaylists), 0);
    EXPECT_EQ(second._navigationPath().size(), 2);
}

TEST_F(FullSyncTest, ARelaunchShowsTheListsAtOnceAndKeepsAChoiceMadeBeforeTheStoreAnswered)
{
    UserDefaults::standard().set(MainViewModel::performedFullSyncKey, true);
    const auto done = launch(model->start());
    // Before the store said anything: the Playlists container and the root list beside it.
    EXPECT_EQ(model->_selectedContainerKindID(), QStringLiteral("playlists"));
    EXPECT_EQ(model->_navigationPath(),
              (QList<NavigationItem>{NavigationItem::root(), NavigationItem::container(ContainerKind::playlists)}));
    // A click on Songs in that list as the window appears stays the user's choice.
    model->_selectedContainerKindID.set(ContainerKind(ContainerKind::songs).id());
    model->_navigationPath.set({NavigationItem::root(), NavigationItem::container(ContainerKind::songs)});
    ASSERT_TRUE(waitUntil([&] { return *done; }));
    EXPECT_EQ(model->_selectedContainerKindID(), QStringLiteral("songs"));
    ASSERT_GE(model->_navigationPath().size(), 2);
    EXPECT_EQ(model->_navigationPath().at(1), NavigationItem::container(ContainerKind::songs));
}

TEST_F(FullSyncTest, UpdateLibraryReadsTheLibraryAgainBeforeMirroringIt)
{
    service.library.songs = FakeMusicService::songs(2);
    finish(model->updateLibrary());
    EXPECT_EQ(service.callCount(Op::readLibraryAgain), 1);
    EXPECT_EQ(runTask(database->allLibrarySongs({LocalSong::SortKey::title})).size(), 2);

    // A library that cannot be read again is still mirrored as the service has it.
    service.library.songs = FakeMusicService::songs(3);
    service.fail(Op::readLibraryAgain, MusicError(MusicError::notAuthorized, QStringLiteral("gone")), 1);
    finish(model->updateLibrary());
    EXPECT_EQ(runTask(database->allLibrarySongs({LocalSong::SortKey::title})).size(), 3);
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

TEST_F(FullSyncTest, AStoreThatStartsEmptyIsFilledAtLaunchAndTheUserIsTold)
{
    UserDefaults::standard().set(MainViewModel::performedFullSyncKey, true);
    // A foreign file where the store should be: rebuilt, synced at once, and said so.
    const QString path = directory.filePath(QStringLiteral("damaged/local.db"));
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile garbage(path);
    ASSERT_TRUE(garbage.open(QIODevice::WriteOnly));
    garbage.write(QByteArray(40000, '\x7f'));
    garbage.close();
    LocalDatabase rebuilt(path);
    ASSERT_EQ(runTask(rebuilt.openOrRebuild()).kind, StoreCondition::Kind::rebuilt);
    LocalDatabase::setShared(&rebuilt);
    finish(model->start());
    EXPECT_EQ(runTask(rebuilt.allLibrarySongs({LocalSong::SortKey::order})).size(), 2);
    EXPECT_TRUE(model->_storeNotice().contains(QStringLiteral("rebuilt"))) << model->_storeNotice().toStdString();
    EXPECT_TRUE(model->_storeNotice().contains(QStringLiteral("local.db.damaged-")));
    runTask(rebuilt.close());

    // A store in memory: synced at each launch, so the launch is never remembered as synced.
    UserDefaults::standard().removePersistentDomain();
    QFile blocker(directory.filePath(QStringLiteral("blocked")));
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    LocalDatabase memory(directory.filePath(QStringLiteral("blocked/local.db")));
    ASSERT_EQ(runTask(memory.openOrRebuild()).kind, StoreCondition::Kind::temporary);
    LocalDatabase::setShared(&memory);
    MainViewModel second;
    finish(second.start());
    EXPECT_EQ(runTask(memory.allLibrarySongs({LocalSong::SortKey::order})).size(), 2);
    EXPECT_TRUE(second._storeNotice().contains(QStringLiteral("cannot save"))) << second._storeNotice().toStdString();
    EXPECT_FALSE(UserDefaults::standard().boolValue(MainViewModel::performedFullSyncKey));
    runTask(memory.close());
    LocalDatabase::setShared(database.get());
}

TEST_F(FullSyncTest, ALibraryThatChangesByItselfIsSyncedQuietlyOnlyWhenItsRevisionMoves)
{
    // Mirrored before, at revision r1: a launch at r1 does not sync.
    service.revision = QStringLiteral("r1");
    finish(model->performFullSync());
    EXPECT_EQ(UserDefaults::standard().stringValue(MainViewModel::syncedLibraryRevisionKey), QStringLiteral("r1"));
    MainViewModel launched;
    service.resetCallCounts();
    finish(launched.start());
    EXPECT_EQ(service.callCount(Op::librarySongs), 0);
    const int version = launched._libraryVersion();

    // The library changes on disk: the notification brings it in, without the toast.
    bool toastShown = false;
    const ObservationTrackingToken toast = observeChanges(launched._showSyncingToast, [&](bool, bool now) { toastShown = toastShown || now; });
    service.library.songs.append(FakeMusicService::song(QStringLiteral("new"), QStringLiteral("New Song")));
    service.revision = QStringLiteral("r2");
    Q_EMIT service.libraryDidChange();
    ASSERT_TRUE(waitUntil([&] { return launched._libraryVersion() > version; }));
    EXPECT_EQ(runTask(database->allLibrarySongs({LocalSong::SortKey::order})).size(), 3);
    EXPECT_FALSE(toastShown);
    EXPECT_EQ(UserDefaults::standard().stringValue(MainViewModel::syncedLibraryRevisionKey).value_or(QStringLiteral("none")), QStringLiteral("r2"));

    // A relaunch after a change made while the application was not running catches up.
    service.library.songs.removeFirst();
    service.revision = QStringLiteral("r3");
    MainViewModel relaunched;
    finish(relaunched.start());
    ASSERT_TRUE(waitUntil([&] { return relaunched._libraryVersion() > 0; }));
    EXPECT_EQ(runTask(database->allLibrarySongs({LocalSong::SortKey::order})).size(), 2);
}

TEST_F(FullSyncTest, AStoreEmptiedOrDeletedSinceTheLastSyncIsFilledAgainAtLaunch)
{
    const QString path = directory.filePath(QStringLiteral("gone/local.db"));
    QDir().mkpath(QFileInfo(path).absolutePath());
    {
        LocalDatabase first(path);
        runTask(first.openOrRebuild());
        LocalDatabase::setShared(&first);
        finish(model->start());
        ASSERT_TRUE(UserDefaults::standard().boolValue(MainViewModel::performedFullSyncKey));
        ASSERT_EQ(runTask(first.allLibrarySongs({LocalSong::SortKey::order})).size(), 2);
        runTask(first.close());
    }
    // The settings still say the library was mirrored; the file says otherwise.
    const auto relaunch = [&] {
        LocalDatabase again(path);
        EXPECT_EQ(runTask(again.openOrRebuild()).kind, StoreCondition::Kind::empty);
        LocalDatabase::setShared(&again);
        service.resetCallCounts();
        MainViewModel next;
        finish(next.start());
        EXPECT_EQ(service.callCount(Op::libraryPlaylists), 1);
        EXPECT_EQ(runTask(again.allLibrarySongs({LocalSong::SortKey::order})).size(), 2);
        EXPECT_TRUE(next._storeNotice().isEmpty());
        runTask(again.close());
    };
    QFile::resize(path, 0);
    relaunch();
    QFile::remove(path);
    relaunch();
    LocalDatabase::setShared(database.get());
}

TEST_F(FullSyncTest, AFirstSyncCutShortByAFullDiskSaysSoAndTheNextSyncFinishesIt)
{
    TmpfsMount disk(64 * 1024 * 1024);
    if (!disk.skipReason().isEmpty())
        GTEST_SKIP() << disk.skipReason().toStdString();
    service.library.songs = FakeMusicService::songs(20000);
    LocalDatabase full(disk.filePath(QStringLiteral("local.db")));
    ASSERT_EQ(runTask(full.openOrRebuild()).kind, StoreCondition::Kind::empty);
    LocalDatabase::setShared(&full);
    disk.fill(2 * 1024 * 1024);
    finish(model->start());
    EXPECT_LT(runTask(full.allLibrarySongs({LocalSong::SortKey::order})).size(), 20000);
    EXPECT_TRUE(model->_storeNotice().contains(QStringLiteral("disk is full"))) << model->_storeNotice().toStdString();
    EXPECT_FALSE(UserDefaults::standard().boolValue(MainViewModel::performedFullSyncKey));

    disk.free();
    finish(model->performFullSync());
    EXPECT_EQ(runTask(full.allLibrarySongs({LocalSong::SortKey::order})).size(), 20000);
    EXPECT_TRUE(model->_storeNotice().isEmpty());
    runTask(full.close());
    LocalDatabase::setShared(database.get());
}
