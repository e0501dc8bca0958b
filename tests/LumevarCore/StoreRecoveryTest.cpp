// A store that heals: damaged files are moved aside and rebuilt, unwritable ones give a store in
// memory, and a synced or closed store leaves its whole content in local.db.
#include "StoreTestSupport.h"

#include "LumevarCore/StoreRecovery.h"
#include "LumevarCore/SyncEngine.h"
#include "Support/Error.h"
#include "TestKit/ManualClock.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

QList<Song> manySongs(int count)
{
    QList<Song> songs;
    for (int i = 0; i < count; ++i)
        songs.append(makeSong(QString::number(i), QStringLiteral("Song %1").arg(i), QStringLiteral("Artist %1").arg(i % 40),
                              QStringLiteral("Album %1").arg(i % 200)));
    return songs;
}

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeContents(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(bytes);
}

// A store at path holding count songs, closed (so its content is all in the file).
void makeStore(const QString &path, int count)
{
    FakeMusicService service;
    service.library.songs = manySongs(count);
    LocalDatabase database(path);
    runTask(database.open());
    runTask(SyncEngine(database, service).syncAll(nullptr));
    runTask(database.close());
}

int librarySize(LocalDatabase &database)
{
    return int(runTask(database.allLibrarySongs({LocalSong::SortKey::order})).size());
}

// The damaged stores beside the store, without the journal files that travel with them.
QStringList damagedCopies(const QDir &folder)
{
    QStringList copies;
    for (const QString &name : folder.entryList({QStringLiteral("local.db.damaged-*")}, QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot))
        if (!name.endsWith(QLatin1String("-wal")) && !name.endsWith(QLatin1String("-shm")))
            copies.append(name);
    return copies;
}

} // namespace

TEST(StoreRecoveryTest, ADamagedStoreIsMovedAsideKeptWholeAndRebuilt)
{
    struct Damage {
        const char *name;
        std::function<void(const QString &path)> apply;
    };
    const QList<Damage> damages = {
        {"cut in half", [](const QString &path) {
             const QByteArray bytes = contents(path);
             writeContents(path, bytes.left(bytes.size() / 2));
         }},
        {"pages overwritten", [](const QString &path) {
             QByteArray bytes = contents(path);
             // Past the header and the schema, in the tables' pages.
             for (qsizetype i = bytes.size() / 3; i < bytes.size() * 2 / 3; i += 7)
                 bytes[i] = char(0xA5 ^ (i & 0xff));
             writeContents(path, bytes);
         }},
        {"a foreign file", [](const QString &path) { writeContents(path, QByteArray(20000, 'x') + "not a database"); }},
    };
    for (const Damage &damage : damages) {
        SCOPED_TRACE(damage.name);
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("local.db"));
        makeStore(path, 3000);
        damage.apply(path);
        const QByteArray damagedBytes = contents(path);

        LocalDatabase database(path);
        const StoreCondition condition = runTask(database.openOrRebuild());
        EXPECT_EQ(condition.kind, StoreCondition::Kind::rebuilt);
        EXPECT_TRUE(condition.startsEmpty());
        EXPECT_FALSE(condition.reason.isEmpty());
        // The damaged file is kept byte for byte beside the new store.
        ASSERT_EQ(damagedCopies(QDir(dir.path())), QStringList{QFileInfo(condition.damagedCopy).fileName()});
        EXPECT_EQ(contents(condition.damagedCopy), damagedBytes);
        EXPECT_EQ(runTask(database.condition()), condition);

        // The new store is empty and takes a sync as any store does.
        EXPECT_EQ(librarySize(database), 0);
        FakeMusicService service;
        service.library.songs = manySongs(50);
        runTask(SyncEngine(database, service).syncAll(nullptr));
        EXPECT_EQ(librarySize(database), 50);
        runTask(database.close());

        // Healed for good: the next launch finds it sound.
        LocalDatabase again(path);
        EXPECT_EQ(runTask(again.openOrRebuild()).kind, StoreCondition::Kind::ready);
        EXPECT_EQ(librarySize(again), 50);
        runTask(again.close());
    }
}

TEST(StoreRecoveryTest, AFolderInPlaceOfTheFileIsMovedAsideWithItsContent)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("local.db"));
    ASSERT_TRUE(QDir().mkpath(path));
    writeContents(path + QStringLiteral("/keep.txt"), "mine");

    LocalDatabase database(path);
    const StoreCondition condition = runTask(database.openOrRebuild());
    EXPECT_EQ(condition.kind, StoreCondition::Kind::rebuilt);
    EXPECT_EQ(contents(condition.damagedCopy + QStringLiteral("/keep.txt")), QByteArray("mine"));
    EXPECT_TRUE(QFileInfo(path).isFile());
    runTask(database.close());
}

TEST(StoreRecoveryTest, AStoreThatCannotBeWrittenGivesAStoreInMemoryAndIsLeftAlone)
{
    QTemporaryDir dir;
    FakeMusicService service;
    service.library.songs = manySongs(20);

    // The data folder cannot be made: a file stands where a folder should be.
    writeContents(dir.filePath(QStringLiteral("Lumevar")), "a file");
    LocalDatabase noFolder(dir.filePath(QStringLiteral("Lumevar/local.db")));
    const StoreCondition condition = runTask(noFolder.openOrRebuild());
    EXPECT_EQ(condition.kind, StoreCondition::Kind::temporary);
    EXPECT_FALSE(condition.reason.isEmpty());
    runTask(SyncEngine(noFolder, service).syncAll(nullptr));
    EXPECT_EQ(librarySize(noFolder), 20);
    EXPECT_EQ(runTask(noFolder.search(QStringLiteral("song 1"))).isEmpty(), false);
    runTask(noFolder.close());
    EXPECT_EQ(contents(dir.filePath(QStringLiteral("Lumevar"))), QByteArray("a file"));

    // A store of a newer version is not damaged: it stays as it is for that version.
    const QString newerPath = dir.filePath(QStringLiteral("newer.db"));
    makeStore(newerPath, 10);
    runSql(newerPath, "PRAGMA user_version = 99");
    const QByteArray newerBytes = contents(newerPath);
    LocalDatabase newer(newerPath);
    EXPECT_EQ(runTask(newer.openOrRebuild()).kind, StoreCondition::Kind::temporary);
    EXPECT_EQ(librarySize(newer), 0);
    runTask(newer.close());
    EXPECT_EQ(contents(newerPath), newerBytes);
    EXPECT_TRUE(damagedCopies(QDir(dir.path())).isEmpty());
}

TEST(StoreRecoveryTest, ASyncAndACloseLeaveTheWholeLibraryInTheFileAlone)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("local.db"));
    FakeMusicService service;
    service.library.songs = manySongs(4000);
    ManualClock clock;
    Clock::setShared(&clock);
    LocalDatabase database(path);
    ASSERT_EQ(runTask(database.openOrRebuild()).kind, StoreCondition::Kind::empty);
    runTask(SyncEngine(database, service).syncAll(nullptr));
    // Folded back a few seconds after the sync, while the store stays open; a read asked for
    // right after the sync does not wait for it.
    runTask(database.allLibrarySongs({LocalSong::SortKey::title}));
    EXPECT_GT(QFileInfo(path + QStringLiteral("-wal")).size(), 0);
    clock.advance(5);
    runTask(database.condition()); // behind the checkpoint on the store's thread
    Clock::setShared(nullptr);
    EXPECT_EQ(QFileInfo(path + QStringLiteral("-wal")).size(), 0);
    const QString copy = dir.filePath(QStringLiteral("copy.db"));
    ASSERT_TRUE(QFile::copy(path, copy));
    {
        LocalDatabase copied(copy);
        runTask(copied.open());
        EXPECT_EQ(librarySize(copied), 4000);
        runTask(copied.close());
    }

    // Later writes reach the file on close.
    service.library.songs = manySongs(4100);
    runTask(SyncEngine(database, service).syncSongs());
    runTask(database.close());
    EXPECT_FALSE(QFileInfo(path + QStringLiteral("-wal")).size() > 0);
    QFile::remove(copy);
    ASSERT_TRUE(QFile::copy(path, copy));
    LocalDatabase copied(copy);
    runTask(copied.open());
    EXPECT_EQ(librarySize(copied), 4100);
    runTask(copied.close());
}

TEST(StoreRecoveryTest, DamagedNamesCarryTheTimeAndNeverReplaceAnEarlierCopy)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("local.db"));
    const QDateTime when(QDate(2026, 11, 23), QTime(18, 3, 12), Qt::UTC);
    const QString first = StoreRecovery::damagedName(path, when);
    EXPECT_EQ(QFileInfo(first).fileName(), QStringLiteral("local.db.damaged-20261123-180312"));
    writeContents(first, "earlier");
    EXPECT_EQ(QFileInfo(StoreRecovery::damagedName(path, when)).fileName(), QStringLiteral("local.db.damaged-20261123-180312-2"));
}
