#include "StoreTestSupport.h"

#include "LumevarCore/SongSnapshot.h"
#include "LumevarCore/SyncEngine.h"
#include "Support/Log.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <functional>

namespace {

// Every song list the store hands out: the library in each sort, and a playlist holding a song
// outside the library.
struct SongLists {
    QList<QList<LocalSong>> library;
    QList<LocalSong> playlist;
    friend bool operator==(const SongLists &, const SongLists &) = default;
};

QStringList refusals(qsizetype from)
{
    QStringList lines;
    const QList<LogStore::Entry> entries = LogStore::shared().entries();
    for (qsizetype i = from; i < entries.size(); ++i)
        if (entries[i].message.contains(QLatin1String("saved beside the store are not used")))
            lines.append(entries[i].message);
    return lines;
}

} // namespace

class SongSnapshotTest : public StoreTest {
protected:
    void SetUp() override
    {
        StoreTest::SetUp();
        Song dated = makeSong("1", "Café 12", "Żółć", "Électrique");
        dated.releaseDate = QDateTime(QDate(1987, 5, 3), QTime(0, 0), Qt::UTC);
        dated.genreNames = {QStringLiteral("Jazz")};
        Song noArtist = makeSong("2", "Track 7");
        Song sameAlbum = makeSong("3", "beach", "Żółć", "Électrique", 61.5);
        sameAlbum.genreNames = {QStringLiteral("Jazz")};
        service.library.songs = {dated, noArtist, sameAlbum, makeSong("4", "Bear", "Other", "Second")};
        service.library.playlists = {FakeMusicService::playlist("p", "P")};
        service.playlistTracks[MusicItemID("p")] = {service.library.songs[2], makeSong("9", "Outsider", "Someone")};
        syncAll();
    }

    SongLists lists()
    {
        SongLists lists;
        for (int key = 0; key <= int(LocalSong::SortKey::order); ++key)
            for (const SortOrder order : {SortOrder::forward, SortOrder::reverse})
                lists.library.append(runTask(database->allLibrarySongs({LocalSong::SortKey(key), order})));
        lists.playlist = runTask(database->songs(runTask(database->allPlaylists({LocalPlaylist::SortKey::name})).first()));
        return lists;
    }

    void reopen()
    {
        runTask(database->close());
        runTask(database->open());
    }

    QString storePath() const { return dir.filePath(QStringLiteral("local.db")); }
    QString snapshotPath() const { return SongSnapshot::pathBeside(storePath()); }
};

TEST_F(SongSnapshotTest, RecordsAfterReopeningEqualAFreshReadOfTheTableAfterEveryKindOfWrite)
{
    lists();
    // Writes after the records were loaded: a song added, one changed, one leaving the library.
    runTask(database->addLibrarySongs({makeSong("5", "Señorita", "Beat")}));
    service.library.songs[1].title = QStringLiteral("Track 8");
    service.library.songs.append(makeSong("5", "Señorita", "Beat"));
    service.library.songs.removeAt(3);
    syncAll();
    runTask(database->allLibrarySongs({LocalSong::SortKey::albumTitle, SortOrder::reverse}));

    const qsizetype logged = LogStore::shared().entries().size();
    runTask(database->close());
    ASSERT_TRUE(QFile::exists(snapshotPath()));
    runTask(database->open());
    const SongLists fromSnapshot = lists();
    EXPECT_TRUE(refusals(logged).isEmpty()) << refusals(logged).join('\n').toStdString();
    EXPECT_TRUE(QFile::exists(snapshotPath())) << "a snapshot taken stays while the store is only read";

    // The same lists read from the table.
    runTask(database->close());
    ASSERT_TRUE(QFile::remove(snapshotPath()));
    runTask(database->open());
    const SongLists fromTable = lists();
    EXPECT_EQ(fromSnapshot, fromTable);
    EXPECT_EQ(titles(fromTable.library[int(LocalSong::SortKey::order) * 2]), (QStringList{"Café 12", "Track 8", "beach", "Señorita"}));

    // Writes after a snapshot was taken back reach the next one too.
    runTask(database->addLibrarySongs({makeSong("6", "Beautiful", "Bear")}));
    reopen();
    EXPECT_EQ(runTask(database->allLibrarySongs({LocalSong::SortKey::title})).size(), 5);
    EXPECT_TRUE(refusals(logged).isEmpty());

    // Most rows go at once (the records close the gaps they leave) and others come after them.
    service.library.songs = {makeSong("7", "Last")};
    syncAll();
    runTask(database->addLibrarySongs({makeSong("8", "After"), makeSong("1", "Café 12")}));
    const SongLists kept = lists();
    runTask(database->close());
    ASSERT_TRUE(QFile::remove(snapshotPath()));
    runTask(database->open());
    EXPECT_EQ(kept, lists());
    EXPECT_EQ(titles(kept.library[0]), (QStringList{"After", "Café 12", "Last"}));
}

TEST_F(SongSnapshotTest, ARunThatOnlyReadsKeepsTheSavedFileAndTheFirstWriteRemovesItBeforeItLands)
{
    const SortDescriptor<LocalSong> byArtist{LocalSong::SortKey::artistName, SortOrder::reverse};
    const QList<LocalSong> saved = runTask(database->allLibrarySongs(byArtist));
    runTask(database->close());
    QFile file(snapshotPath());
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray bytes = file.readAll();
    file.close();
    const QDateTime written = QFileInfo(file).lastModified();

    // Reads only, the list in the order saved: the close has nothing to save.
    const qsizetype logged = LogStore::shared().entries().size();
    runTask(database->open());
    EXPECT_EQ(runTask(database->allLibrarySongs(byArtist)), saved);
    runTask(database->search(QStringLiteral("beach")));
    runTask(database->songs(runTask(database->allPlaylists({LocalPlaylist::SortKey::name})).first()));
    runTask(database->close());
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), bytes);
    file.close();
    EXPECT_EQ(QFileInfo(file).lastModified(), written) << "rewritten though nothing changed";

    // Still trusted by the next open, and gone with the first write: a run killed after it finds
    // no file that misses the write.
    runTask(database->open());
    EXPECT_EQ(runTask(database->allLibrarySongs(byArtist)), saved);
    EXPECT_TRUE(refusals(logged).isEmpty()) << refusals(logged).join('\n').toStdString();
    runTask(database->addLibrarySongs({makeSong("5", "Señorita", "Beat")}));
    EXPECT_FALSE(QFile::exists(snapshotPath()));
    runTask(database->close());
    runTask(database->open());
    EXPECT_EQ(runTask(database->allLibrarySongs(byArtist)).size(), saved.size() + 1);

    // Another order asked is saved at the close, so the next first list is handed out as it is.
    runTask(database->allLibrarySongs({LocalSong::SortKey::title}));
    runTask(database->close());
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_NE(file.readAll(), bytes);
    file.close();
    runTask(database->open());
    EXPECT_TRUE(refusals(logged).isEmpty());
}

TEST_F(SongSnapshotTest, AStaleDamagedOrForeignSnapshotIsRefusedWithOneLineAndTheTableIsRead)
{
    const SongLists expected = lists();
    runTask(database->close());
    QFile saved(snapshotPath());
    ASSERT_TRUE(saved.open(QIODevice::ReadOnly));
    const QByteArray good = saved.readAll();
    saved.close();
    const QString otherStore = dir.filePath(QStringLiteral("other.db"));
    ASSERT_TRUE(QFile::copy(storePath(), otherStore));

    auto replaceWith = [this](const QByteArray &bytes) {
        QFile file(snapshotPath());
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(bytes);
    };
    const std::vector<std::pair<const char *, std::function<void()>>> cases = {
        {"a damaged byte", [&] { QByteArray bad = good; bad[bad.size() / 2] = char(bad[bad.size() / 2] ^ 0x5a); replaceWith(bad); }},
        {"cut short", [&] { replaceWith(good.left(good.size() - 9)); }},
        {"of another kind", [&] { QByteArray bad = good; bad[0] = 'X'; replaceWith(bad); }},
        {"of another version", [&] { QByteArray bad = good; bad[8] = char(bad[8] + 1); replaceWith(bad); }},
        {"beside another store file", [&] {
             replaceWith(good);
             ASSERT_TRUE(QFile::remove(storePath()));
             ASSERT_TRUE(QFile::copy(otherStore, storePath()));
         }},
    };
    for (const auto &[what, make] : cases) {
        SCOPED_TRACE(what);
        make();
        const qsizetype logged = LogStore::shared().entries().size();
        runTask(database->open());
        EXPECT_EQ(lists(), expected);
        EXPECT_EQ(refusals(logged).size(), 1);
        EXPECT_FALSE(QFile::exists(snapshotPath()));
        runTask(database->close());
    }

    // The store changed behind the snapshot's back: the changed rows are what the lists show.
    ASSERT_TRUE(QFile::exists(snapshotPath()));
    runSql(storePath(), "UPDATE songs SET title = 'Changed' WHERE id = '4'");
    const qsizetype logged = LogStore::shared().entries().size();
    runTask(database->open());
    EXPECT_TRUE(titles(runTask(database->allLibrarySongs({LocalSong::SortKey::title}))).contains(QStringLiteral("Changed")));
    EXPECT_EQ(refusals(logged).size(), 1);
}

namespace {
const char *snapshotChildVariable = "LUMEVAR_SNAPSHOT_CHILD_STORE";
}

// Not a test of its own: the body of the child process of the next test (skipped otherwise).
TEST(SongSnapshotChild, OpensTheStoreAndTakesTheRecords)
{
    const QString path = qEnvironmentVariable(snapshotChildVariable);
    if (path.isEmpty())
        GTEST_SKIP() << "runs only as the child of SongSnapshotTest";
    const qsizetype from = LogStore::shared().entries().size();
    LocalDatabase database(path);
    runTask(database.open());
    EXPECT_EQ(runTask(database.allLibrarySongs({LocalSong::SortKey::title, SortOrder::forward})).size(), 4);
    EXPECT_EQ(refusals(from), QStringList());
    // A refused file is removed; a taken one stays while nothing is written.
    EXPECT_TRUE(QFile::exists(SongSnapshot::pathBeside(path))) << "taken";
    runTask(database.close());
}

// The records are saved by one run and taken by the next: nothing in the file may depend on the
// process that wrote it.
TEST_F(SongSnapshotTest, TheNextProcessTakesTheRecordsAQuitSaved)
{
    lists();
    runTask(database->close());
    ASSERT_TRUE(QFile::exists(snapshotPath()));
    QProcess child;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QString::fromLatin1(snapshotChildVariable), storePath());
    child.setProcessEnvironment(environment);
    child.setProcessChannelMode(QProcess::ForwardedChannels);
    child.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--gtest_filter=SongSnapshotChild.*")});
    ASSERT_TRUE(child.waitForFinished(60000));
    EXPECT_EQ(child.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(child.exitCode(), 0);
    runTask(database->open());
}
