// The store, the song records saved beside it and the settings file on a disk with no space left:
// each failure is said once, what was last written whole stays, and all is well once space returns.

#include "StoreTestSupport.h"
#include "TestKit/ManualClock.h"

#include "LumevarCore/SongSnapshot.h"
#include "LumevarCore/StoreSpace.h"
#include "LumevarCore/SyncEngine.h"
#include "Support/Log.h"
#include "TestKit/TmpfsMount.h"

#include <QSettings>

#include <optional>

namespace {

qsizetype errorCount() { return LogStore::shared().entries().size(); }

int librarySize(LocalDatabase &database) { return int(runTask(database.allLibrarySongs({LocalSong::SortKey::order})).size()); }

qsizetype songsFound(LocalDatabase &database, const QString &text)
{
    qsizetype found = 0;
    for (const SearchSection &section : runTask(database.search(text)))
        if (section.name == QLatin1String("Songs"))
            found += section.results.size();
    return found;
}

// A store on a small disk after a first sync of 3,000 songs, on the manual clock.
class FullDiskAfterSync : public testing::Test {
protected:
    void SetUp() override
    {
        if (!disk.skipReason().isEmpty())
            GTEST_SKIP() << disk.skipReason().toStdString();
        Clock::setShared(&clock);
        FakeMusicService service;
        service.library.songs = FakeMusicService::songs(3000, QStringLiteral("song"));
        database.emplace(path);
        runTask(database->open());
        runTask(SyncEngine(*database, service).syncAll(nullptr));
    }
    // Closes the store and opens a new one on its file.
    void reopen()
    {
        runTask(database->close());
        database.emplace(path);
        runTask(database->open());
    }

    TmpfsMount disk{8 * 1024 * 1024};
    const QString path = disk.filePath(QStringLiteral("local.db"));
    ManualClock clock;
    std::optional<LocalDatabase> database;
};

} // namespace

TEST(FullDisk, AFirstSyncThatFillsTheDiskFailsKeepsASoundStoreAndFinishesOnceSpaceReturns)
{
    TmpfsMount disk(64 * 1024 * 1024);
    if (!disk.skipReason().isEmpty())
        GTEST_SKIP() << disk.skipReason().toStdString();
    FakeMusicService service;
    service.library.songs = FakeMusicService::songs(20000, QStringLiteral("song"));
    const QString path = disk.filePath(QStringLiteral("local.db"));
    LocalDatabase database(path);
    runTask(database.open());
    disk.fill(2 * 1024 * 1024); // room for part of the library only

    try {
        runTask(SyncEngine(database, service).syncAll(nullptr));
        ADD_FAILURE() << "the sync filled no disk";
    } catch (const StoreError &error) {
        EXPECT_TRUE(isOutOfSpace(error)) << error.debugDescription().toStdString();
    }
    const int partial = librarySize(database);
    EXPECT_LT(partial, 20000);
    EXPECT_EQ(sqliteColumn(path, "PRAGMA integrity_check"), QStringList{QStringLiteral("ok")});

    disk.free();
    runTask(SyncEngine(database, service).syncAll(nullptr));
    EXPECT_EQ(librarySize(database), 20000);
    runTask(database.close());
    EXPECT_EQ(sqliteColumn(path, "PRAGMA integrity_check"), QStringList{QStringLiteral("ok")});
}

TEST_F(FullDiskAfterSync, SongRecordsThatCannotBeSavedLeaveNoFileAndTheTableIsRead)
{
    EXPECT_EQ(librarySize(*database), 3000);
    clock.advance(5); // what the sync left for later is done before the disk fills
    runTask(database->condition());
    disk.fill();
    const qsizetype before = errorCount();
    runTask(database->close());
    EXPECT_EQ(errorCount() - before, 1); // one line: the records could not be saved
    EXPECT_FALSE(QFile::exists(SongSnapshot::pathBeside(path)));
    disk.free();
    database.emplace(path);
    runTask(database->open());
    EXPECT_EQ(librarySize(*database), 3000);
    runTask(database->close());
    EXPECT_TRUE(QFile::exists(SongSnapshot::pathBeside(path))); // saved now that there is room
}

// The songs' search index, which a first sync leaves for a few seconds later, meets a full disk:
// one line says so, the searches that follow do not each try again (they find no songs), and the
// next open builds it.
TEST_F(FullDiskAfterSync, ASearchIndexThatCannotBeBuiltIsSaidOnceAndTheNextOpenBuildsIt)
{
    disk.fill();
    const qsizetype before = errorCount();
    EXPECT_EQ(songsFound(*database, QStringLiteral("song12")), 0);
    EXPECT_EQ(songsFound(*database, QStringLiteral("song13")), 0);
    EXPECT_EQ(errorCount() - before, 1);
    disk.free();
    reopen();
    EXPECT_GT(songsFound(*database, QStringLiteral("song12")), 0);
    runTask(database->close());
    EXPECT_EQ(sqliteColumn(path, "PRAGMA integrity_check"), QStringList{QStringLiteral("ok")});
}

// UserDefaults writes through QSettings and logs when its status is not NoError; its file lives
// where QStandardPaths says (the tests' own folder), so the INI writer is tried on the small disk
// directly: a write that fails keeps the last whole file and says so, and the values wait.
TEST(FullDisk, TheSettingsFileKeepsItsLastWholeVersionAndIsWrittenOnceSpaceReturns)
{
    TmpfsMount disk(1024 * 1024);
    if (!disk.skipReason().isEmpty())
        GTEST_SKIP() << disk.skipReason().toStdString();
    const QString file = disk.filePath(QStringLiteral("Lumevar.conf"));
    QSettings settings(file, QSettings::IniFormat);
    settings.setValue(QStringLiteral("first"), 1);
    settings.sync();
    ASSERT_EQ(settings.status(), QSettings::NoError);
    disk.fill();
    settings.setValue(QStringLiteral("second"), QString(4096, u'x'));
    settings.sync();
    EXPECT_EQ(settings.status(), QSettings::AccessError);
    // The file's bytes: another QSettings of this process would share the values not yet written.
    QFile onDisk(file);
    ASSERT_TRUE(onDisk.open(QIODevice::ReadOnly));
    EXPECT_EQ(onDisk.readAll(), QByteArray("[General]\nfirst=1\n"));

    disk.free();
    QSettings again(file, QSettings::IniFormat);
    again.setValue(QStringLiteral("second"), QString(4096, u'x'));
    again.sync();
    EXPECT_EQ(again.status(), QSettings::NoError);
    QSettings written(file, QSettings::IniFormat);
    EXPECT_EQ(written.value(QStringLiteral("first")).toInt(), 1);
    EXPECT_EQ(written.value(QStringLiteral("second")).toString().size(), 4096);
}
