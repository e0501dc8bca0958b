// The library list the store hands out is its own array of records: these tests hold lists
// across writes and re-sorts and compare every list with one made from a fresh read of the table.
// (Writes with no list held, and the snapshot saved after them, are checked with the snapshot.)
#include "StoreTestSupport.h"

#include "LumevarCore/SongSnapshot.h"

#include <QFile>

namespace {

// Every sort the library list can be asked in.
QList<SortDescriptor<LocalSong>> everySort()
{
    QList<SortDescriptor<LocalSong>> sorts;
    for (int key = 0; key <= int(LocalSong::SortKey::order); ++key)
        for (const SortOrder order : {SortOrder::forward, SortOrder::reverse})
            sorts.append({LocalSong::SortKey(key), order});
    return sorts;
}

// A list's records copied element by element, so that no later change of a shared array can
// reach the copy.
QList<LocalSong> deepCopy(const QList<LocalSong> &songs)
{
    QList<LocalSong> copy;
    for (const LocalSong &song : songs)
        copy.append(song);
    return copy;
}

} // namespace

class SongListSharingTest : public StoreTest {
protected:
    void SetUp() override
    {
        StoreTest::SetUp();
        for (int i = 0; i < 40; ++i) {
            Song song = makeSong(QString::number(i), QStringLiteral("Track %1").arg((i * 7) % 40),
                                 QStringLiteral("Artist %1").arg(i % 5), QStringLiteral("Album %1").arg(i % 9), 100 + (i * 13) % 50);
            if (i % 3 == 0)
                song.genreNames = {QStringLiteral("Genre %1").arg(i % 4)};
            service.library.songs.append(song);
        }
        syncAll();
    }

    QList<LocalSong> list(SortDescriptor<LocalSong> sort) { return runTask(database->allLibrarySongs(sort)); }

    // The lists in every sort as a store opened without its snapshot makes them from the table.
    QList<QList<LocalSong>> fromTable()
    {
        runTask(database->close());
        QFile::remove(SongSnapshot::pathBeside(dir.filePath(QStringLiteral("local.db"))));
        runTask(database->open());
        QList<QList<LocalSong>> lists;
        for (const SortDescriptor<LocalSong> &sort : everySort()) {
            lists.append(list(sort));
            // Each from a store that has sorted nothing yet, so no order is carried over.
            runTask(database->close());
            QFile::remove(SongSnapshot::pathBeside(dir.filePath(QStringLiteral("local.db"))));
            runTask(database->open());
        }
        return lists;
    }

    // Writes of every kind: a song added, one renamed, one leaving the library.
    void writeEveryKind()
    {
        runTask(database->addLibrarySongs({makeSong("new", "Added", "Artist 9")}));
        service.library.songs[3].title = QStringLiteral("Renamed");
        service.library.songs.removeAt(10);
        service.library.songs.append(makeSong("new", "Added", "Artist 9"));
        syncAll();
    }
};

TEST_F(SongListSharingTest, ResortingOneListAgainAndAgainGivesTheOrdersAFreshReadGives)
{
    // Asked one after another with nothing held in between, so each order is arranged where the
    // last one stood; then again while every earlier list is still held.
    QList<QList<LocalSong>> inTurn;
    for (const SortDescriptor<LocalSong> &sort : everySort())
        inTurn.append(deepCopy(list(sort)));
    QList<QList<LocalSong>> held;
    for (const SortDescriptor<LocalSong> &sort : everySort())
        held.append(list(sort));
    const QList<QList<LocalSong>> expected = fromTable();
    EXPECT_EQ(inTurn, expected);
    EXPECT_EQ(held, expected);
    EXPECT_EQ(titles(expected[0]).first(3), (QStringList{"Track 0", "Track 1", "Track 2"}));
}

TEST_F(SongListSharingTest, AListHeldAcrossWritesKeepsWhatItShowedAndTheNextListHasTheWrites)
{
    const SortDescriptor<LocalSong> byTitle{LocalSong::SortKey::title};
    const QList<LocalSong> heldList = list(byTitle);
    const QList<LocalSong> shown = deepCopy(heldList);
    writeEveryKind();
    EXPECT_EQ(heldList, shown) << "a write reached a list a caller still shows";

    QList<QList<LocalSong>> after;
    for (const SortDescriptor<LocalSong> &sort : everySort())
        after.append(list(sort));
    EXPECT_EQ(heldList, shown);
    const QList<QList<LocalSong>> expected = fromTable();
    EXPECT_EQ(after, expected);
    EXPECT_TRUE(titles(expected[0]).contains(QStringLiteral("Renamed")));
    EXPECT_TRUE(titles(expected[0]).contains(QStringLiteral("Added")));
    EXPECT_EQ(expected[0].size(), 40);
}
