// The fakes other suites build on: they must page, fail and keep time the way the real parts do.
#include "fakes/FakeMusicService.h"
#include "fakes/VirtualAudioEngine.h"

#include "Support/Error.h"
#include "TestKit/AsyncTest.h"
#include "TestKit/ManualClock.h"

#include <QSignalSpy>
#include <gtest/gtest.h>

using Op = FakeMusicService::Operation;

TEST(FakeMusicService, PagesHonourOffsetLimitAndTotal)
{
    FakeMusicService service;
    service.library.songs = FakeMusicService::songs(5);
    auto first = runTask(service.librarySongs(0, 2));
    auto last = runTask(service.librarySongs(4, 2));
    auto beyond = runTask(service.librarySongs(9, 2));
    EXPECT_EQ(first.items.size(), 2);
    EXPECT_TRUE(first.hasMore());
    EXPECT_EQ(last.items.size(), 1);
    EXPECT_EQ(last.items.first().id, MusicItemID(QStringLiteral("s4")));
    EXPECT_FALSE(last.hasMore());
    EXPECT_TRUE(beyond.items.isEmpty());
    EXPECT_EQ(service.pageRequests(Op::librarySongs).size(), 3);
}

TEST(FakeMusicService, FailuresFireTheRequestedNumberOfTimes)
{
    FakeMusicService service;
    service.fail(Op::personalRecommendations, URLError(URLError::timedOut), 2);
    EXPECT_THROW(runTask(service.personalRecommendations()), URLError);
    EXPECT_THROW(runTask(service.personalRecommendations()), URLError);
    EXPECT_NO_THROW(runTask(service.personalRecommendations()));
    EXPECT_EQ(service.callCount(Op::personalRecommendations), 3);

    service.unplayable.insert(MusicItemID(QStringLiteral("x")));
    EXPECT_THROW(runTask(service.playableURL({MusicItemID(QStringLiteral("x")), QStringLiteral("song")})), MusicError);
    EXPECT_THROW(runTask(service.tracks(FakeMusicService::album(QStringLiteral("missing")))), MusicError);
}

TEST(FakeMusicService, StationsCycleAndCatalogSongsJoinTheLibraryOnce)
{
    FakeMusicService service;
    const auto station = FakeMusicService::station(QStringLiteral("st"));
    service.stationPools[station.id] = FakeMusicService::songs(2, QStringLiteral("p"));
    auto first = runTask(service.stationSongs(station, 3));
    auto second = runTask(service.stationSongs(station, 1));
    EXPECT_EQ(first.at(2).id, first.at(0).id);
    EXPECT_EQ(second.at(0).id, first.at(1).id);

    service.catalog.songs = {FakeMusicService::song(QStringLiteral("c1"), QStringLiteral("Blue Train"))};
    EXPECT_EQ(runTask(service.searchCatalog(QStringLiteral("blue"), 5)).songs.size(), 1);
    runTask(service.addToLibrary(MusicItemID(QStringLiteral("c1"))));
    runTask(service.addToLibrary(MusicItemID(QStringLiteral("c1"))));
    ASSERT_EQ(service.library.songs.size(), 1);
    EXPECT_TRUE(service.library.songs.first().libraryAddedDate.has_value());
}

TEST(VirtualAudioEngine, PositionFollowsTheClockUntilEndOfFile)
{
    ManualClock clock;
    VirtualAudioEngine engine(clock);
    const QUrl url(QStringLiteral("fake:///a.wav"));
    engine.durations[url] = 10;
    QSignalSpy ends(&engine, &AudioEngine::endOfFile);
    engine.load(url);
    clock.advance(5);
    EXPECT_EQ(engine.position(), 0) << "a fresh engine is paused";
    engine.play();
    clock.advance(4);
    EXPECT_DOUBLE_EQ(engine.position(), 4);
    engine.seek(8);
    clock.advance(1);
    EXPECT_DOUBLE_EQ(engine.position(), 9);
    EXPECT_EQ(ends.count(), 0);
    clock.advance(1);
    EXPECT_EQ(ends.count(), 1);
    EXPECT_FALSE(engine.isLoaded());

    QSignalSpy failures(&engine, &AudioEngine::failed);
    engine.broken.insert(url);
    engine.load(url);
    EXPECT_EQ(failures.count(), 1);
}
