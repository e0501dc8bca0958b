// The store called from other places than the main thread, and two stores side by side.

#include "StoreTestSupport.h"

#include "LumevarCore/StoreState.h"
#include "LumevarCore/StoreWrites.h"
#include "LumevarCore/SyncEngine.h"

#include <QThread>
#include <QThreadPool>

#include <future>

TEST_F(StoreTest, APoolThreadWithoutAnEventLoopGetsItsAnswersAndResumesOnItself)
{
    service.library.songs = {makeSong("1", "Harbour Lights", "Mara"), makeSong("2", "Low Tide", "Mara")};
    runTask(SyncEngine(*database, service).syncAll(nullptr));

    QThreadPool pool;
    std::promise<std::pair<QStringList, bool>> answer;
    pool.start([&] {
        QThread *self = QThread::currentThread();
        // The awaits block this thread instead of waiting for an event loop it does not run.
        [](LocalDatabase &store, QThread *self, std::promise<std::pair<QStringList, bool>> &answer) -> QCoro::Task<void> {
            const QList<LocalSong> songs = co_await store.allLibrarySongs({LocalSong::SortKey::title});
            const bool found = co_await store.hasSong(QStringLiteral("low tide"), std::nullopt, std::nullopt);
            answer.set_value({titles(songs), found && QThread::currentThread() == self});
        }(*database, self, answer);
    });
    const auto [songs, foundOnItself] = answer.get_future().get();
    EXPECT_EQ(songs, (QStringList{"Harbour Lights", "Low Tide"}));
    EXPECT_TRUE(foundOnItself);
}

TEST_F(StoreTest, TwoStoresSyncingAtOnceKeepTheirOwnLibraries)
{
    // Several pages each, so that the two syncs interleave and one ends (letting its repeated
    // texts go) while the other still writes.
    for (int i = 0; i < 700; ++i)
        service.library.songs.append(makeSong(QStringLiteral("a%1").arg(i), QStringLiteral("Song %1").arg(i),
                                              QStringLiteral("Ánna %1").arg(i % 7), QStringLiteral("Album %1").arg(i % 11)));
    FakeMusicService other;
    for (int i = 0; i < 1500; ++i)
        other.library.songs.append(makeSong(QStringLiteral("b%1").arg(i), QStringLiteral("Tune %1").arg(i),
                                            QStringLiteral("Bo %1").arg(i % 5), QStringLiteral("Record %1").arg(i % 3)));
    LocalDatabase second(dir.filePath(QStringLiteral("second.db")));
    runTask(second.open());

    SyncEngine firstSync(*database, service);
    SyncEngine secondSync(second, other);
    QCoro::Task<void> first = firstSync.syncAll(nullptr);
    QCoro::Task<void> secondRun = secondSync.syncAll(nullptr);
    runTask(std::move(first));
    runTask(std::move(secondRun));

    const QList<LocalSong> mine = runTask(database->allLibrarySongs({LocalSong::SortKey::artistName}));
    const QList<LocalSong> theirs = runTask(second.allLibrarySongs({LocalSong::SortKey::title}));
    ASSERT_EQ(mine.size(), 700);
    ASSERT_EQ(theirs.size(), 1500);
    EXPECT_EQ(mine.first().artistName, QStringLiteral("Ánna 0"));
    EXPECT_EQ(mine.last().artistName, QStringLiteral("Ánna 6"));
    EXPECT_EQ(theirs[1].title, QStringLiteral("Tune 1"));
    EXPECT_EQ(theirs[2].title, QStringLiteral("Tune 2")) << "numbers in titles sort by value";
    EXPECT_TRUE(runTask(second.hasSong(QStringLiteral("TUNE 1499"), QStringLiteral("bo 4"), QStringLiteral("record 2"))));
    EXPECT_FALSE(runTask(database->hasSong(QStringLiteral("Tune 1"), std::nullopt, std::nullopt)));
    runTask(second.close());
}

TEST(RepeatedTexts, EachStoreKeepsItsOwnTableOfRepeatedTexts)
{
    QList<Song> songs;
    for (int i = 0; i < 20; ++i)
        songs.append(makeSong(QString::number(i), QStringLiteral("Song %1").arg(i), QStringLiteral("Élan"), QStringLiteral("Ode")));
    StoreState one;
    StoreState two;
    const auto preparedOne = StoreWrites::prepareSongs(songs, *one.repeatedTexts);
    StoreWrites::prepareSongs(songs, *two.repeatedTexts);
    // Artist key and fold, album key and fold, one text each: made once, not once per song.
    EXPECT_EQ(one.repeatedTexts->size(), 4);

    two.repeatedTexts->forget(); // the second store's sync ends
    EXPECT_EQ(one.repeatedTexts->size(), 4) << "one store's end of sync emptied another's table";
    EXPECT_EQ(two.repeatedTexts->size(), 0);
    ASSERT_TRUE(preparedOne[3]);
    EXPECT_EQ(preparedOne[3]->artistFold, QStringLiteral("elan"));
    EXPECT_EQ(preparedOne[3]->artistKey, TextKeys::collationKey(QStringLiteral("Élan")));
}
