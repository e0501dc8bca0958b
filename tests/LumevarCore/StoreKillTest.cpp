// A store must survive its process being killed in the middle of a sync: the test runs itself
// again as a child that syncs in a loop, kills it with SIGKILL, and checks the file.

#include "StoreTestSupport.h"

#include "LumevarCore/SyncEngine.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QProcess>
#include <QSet>
#include <QThread>

namespace {

const char *childPathVariable = "LUMEVAR_STORE_KILL_CHILD";

// Two versions of a library that share the songs "k0".."k999" and differ in the rest.
void fillLibrary(FakeMusicService &service, int version)
{
    service.library.songs = FakeMusicService::songs(1000, QStringLiteral("k"));
    service.library.songs += FakeMusicService::songs(2000, version == 0 ? QStringLiteral("even") : QStringLiteral("odd"));
    service.library.playlists = {FakeMusicService::playlist(QStringLiteral("p%1").arg(version))};
    service.playlistTracks[MusicItemID(QStringLiteral("p%1").arg(version))] = service.library.songs.mid(0, 500);
}

} // namespace

// Not a test of its own: the body of the child process (skipped unless the parent started it).
TEST(StoreKillChild, SyncForever)
{
    const QString path = qEnvironmentVariable(childPathVariable);
    if (path.isEmpty())
        GTEST_SKIP() << "runs only as the child of StoreKillTest";
    LocalDatabase database(path);
    runTask(database.open());
    FakeMusicService service;
    for (int round = 0;; ++round) {
        fillLibrary(service, round % 2);
        runTask(SyncEngine(database, service).syncAll(nullptr));
        QFile marker(path + QStringLiteral(".synced"));
        marker.open(QIODevice::WriteOnly);
    }
}

TEST(StoreKillTest, AStoreKilledMidSyncStaysIntactAndReopens)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("local.db"));
    for (int attempt = 0; attempt < 3; ++attempt) {
        QProcess child;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QString::fromLatin1(childPathVariable), path);
        child.setProcessEnvironment(environment);
        child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        child.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--gtest_filter=StoreKillChild.*")});
        ASSERT_TRUE(child.waitForStarted(10000));
        // Wait for one finished sync, then kill at a different moment of the next ones each time.
        QElapsedTimer waited;
        waited.start();
        while (!QFileInfo::exists(path + QStringLiteral(".synced")) && waited.elapsed() < 60000)
            QThread::msleep(20);
        ASSERT_TRUE(QFileInfo::exists(path + QStringLiteral(".synced"))) << "the child never finished a sync";
        QThread::msleep(37 + attempt * 111);
        child.kill(); // SIGKILL
        child.waitForFinished(10000);
        ASSERT_EQ(child.exitStatus(), QProcess::CrashExit);

        EXPECT_EQ(sqliteColumn(path, "PRAGMA integrity_check"), QStringList{"ok"});
        LocalDatabase database(path);
        runTask(database.open());
        const QList<LocalSong> songs = runTask(database.allLibrarySongs({LocalSong::SortKey::order}));
        QSet<QString> ids;
        for (const LocalSong &song : songs)
            ids.insert(song.identifier);
        // The songs both versions share were stored by the finished sync and never removed.
        for (int i = 0; i < 1000; ++i)
            ASSERT_TRUE(ids.contains(QStringLiteral("k%1").arg(i))) << i;
        EXPECT_GE(ids.size(), 3000);
        // A finished sync brings the store back to exactly the service's library.
        FakeMusicService service;
        fillLibrary(service, 1);
        runTask(SyncEngine(database, service).syncAll(nullptr));
        EXPECT_EQ(runTask(database.allLibrarySongs({LocalSong::SortKey::order})).size(), 3000);
        runTask(database.close());
    }
}
