// The player's queue logic on virtual time: advancing, repeat, shuffle, stations, skipping,
// failures and queue edits, driven through the engine that plays on the ManualClock.
#include "Platform/Music/ApplicationMusicPlayer.h"
#include "fakes/FakeMusicService.h"
#include "fakes/VirtualAudioEngine.h"

#include "Support/Error.h"
#include "TestKit/AsyncTest.h"
#include "TestKit/ManualClock.h"
#include "TestKit/Lists.h"

#include <QSet>
#include <QSignalSpy>
#include <gtest/gtest.h>

namespace {

using Status = MusicPlaybackStatus;
constexpr double trackLength = 10;

class PlayerTest : public ::testing::Test {
protected:
    PlayerTest()
    {
        Clock::setShared(&clock);
        engine.defaultDuration = trackLength;
        player.setRandomSeed(7);
    }
    ~PlayerTest() override { Clock::setShared(nullptr); }

    // Song ids of the queue, in order.
    QStringList ids() const
    {
        return textsOf(player.queue().entries(), [](const auto &entry) { return entry.song() ? entry.song()->id.rawValue() : entry.id; });
    }
    QString current() const
    {
        const auto entry = player.queue().currentEntry();
        return entry && entry->song() ? entry->song()->id.rawValue() : QString();
    }
    Status status() const { return player.state().playbackStatus(); }
    // Plays the current track to its end.
    void finishTrack() { clock.advance(player.playbackTime() > 0 ? trackLength - player.playbackTime() : trackLength); }

    ManualClock clock;
    FakeMusicService service;
    VirtualAudioEngine engine{clock};
    mutable ApplicationMusicPlayer player{engine, service};
};

TEST_F(PlayerTest, AdvancesAtTheEndOfEachTrackAndStopsPastTheLast)
{
    QSignalSpy queueChanges(&player.queue(), &ApplicationMusicPlayer::Queue::objectWillChange);
    QSignalSpy stateChanges(&player.state(), &ApplicationMusicPlayer::State::objectWillChange);
    player.setQueue(FakeMusicService::songs(3));
    EXPECT_EQ(ids(), QStringList({"s0", "s1", "s2"}));
    EXPECT_EQ(current(), "s0");

    runTask(player.prepareToPlay());
    EXPECT_EQ(status(), Status::stopped) << "prepared, not playing";
    EXPECT_TRUE(engine.isPaused());
    runTask(player.play());
    EXPECT_EQ(status(), Status::playing);
    EXPECT_FALSE(engine.isPaused());
    EXPECT_EQ(engine.loads.size(), 1) << "play after prepare does not load again";
    EXPECT_GT(queueChanges.count(), 0);
    EXPECT_GT(stateChanges.count(), 0);

    clock.advance(4);
    EXPECT_DOUBLE_EQ(player.playbackTime(), 4);
    player.pause();
    clock.advance(100);
    EXPECT_EQ(status(), Status::paused);
    EXPECT_DOUBLE_EQ(player.playbackTime(), 4) << "pause keeps the position";
    player.setPlaybackTime(8);
    EXPECT_DOUBLE_EQ(player.playbackTime(), 8);
    runTask(player.play());
    clock.advance(2);
    EXPECT_EQ(current(), "s1") << "the track ended after the seek";
    EXPECT_EQ(status(), Status::playing);

    finishTrack();
    EXPECT_EQ(current(), "s2");
    finishTrack();
    EXPECT_EQ(status(), Status::stopped);
    EXPECT_EQ(current(), "s0") << "a finished queue starts over";
    EXPECT_EQ(ids().size(), 3) << "the queue stays";
    EXPECT_FALSE(engine.isLoaded());

    // Skipping past the last entry stops the same way.
    runTask(player.play());
    runTask(player.skipToNextEntry());
    runTask(player.skipToNextEntry());
    EXPECT_EQ(current(), "s2");
    EXPECT_EQ(status(), Status::playing);
    runTask(player.skipToNextEntry());
    EXPECT_EQ(status(), Status::stopped);
    EXPECT_FALSE(engine.isLoaded());

    // Stop unloads; emptying the entries empties the queue.
    runTask(player.play());
    player.stop();
    EXPECT_EQ(status(), Status::stopped);
    EXPECT_FALSE(engine.isLoaded());
    player.queue().setEntries({});
    EXPECT_TRUE(player.queue().entries().isEmpty());
    EXPECT_FALSE(player.queue().currentEntry());
    EXPECT_THROW(runTask(player.play()), MusicError);
}

TEST_F(PlayerTest, RepeatOneReplaysAndRepeatAllWraps)
{
    player.setQueue(FakeMusicService::songs(2));
    player.state().setRepeatMode(MusicRepeatMode::one);
    runTask(player.play());
    finishTrack();
    finishTrack();
    EXPECT_EQ(current(), "s0");
    EXPECT_EQ(engine.loads.size(), 3);
    EXPECT_EQ(status(), Status::playing);

    runTask(player.skipToNextEntry());
    EXPECT_EQ(current(), "s1") << "a skip leaves the repeated entry";

    player.state().setRepeatMode(MusicRepeatMode::all);
    finishTrack();
    EXPECT_EQ(current(), "s0") << "the queue wraps";
    EXPECT_EQ(status(), Status::playing);
    runTask(player.skipToNextEntry());
    runTask(player.skipToNextEntry());
    EXPECT_EQ(current(), "s0") << "skipping past the end wraps too";
    EXPECT_EQ(status(), Status::playing);
}

TEST_F(PlayerTest, ShufflePlaysEveryEntryOncePerPass)
{
    const auto songs = FakeMusicService::songs(8);
    player.setQueue(songs);
    player.state().setShuffleMode(MusicShuffleMode::songs);
    const QStringList upcoming = ids();
    EXPECT_NE(upcoming, QStringList({"s0", "s1", "s2", "s3", "s4", "s5", "s6", "s7"}));
    EXPECT_EQ(current(), upcoming.first()) << "shuffled before it began, the first entry is drawn too";

    player.state().setRepeatMode(MusicRepeatMode::all);
    runTask(player.play());
    QStringList played;
    for (int i = 0; i < 16; ++i) {
        played.append(current());
        finishTrack();
    }
    EXPECT_EQ(played.mid(0, 8), upcoming) << "the queue shows what plays next";
    for (const auto &pass : {played.mid(0, 8), played.mid(8, 8)})
        EXPECT_EQ(QSet<QString>(pass.cbegin(), pass.cend()).size(), 8) << pass.join(',').toStdString();
    EXPECT_NE(played.mid(0, 8), played.mid(8, 8)) << "each pass draws a new order";
    EXPECT_NE(played[7], played[8]) << "no entry plays twice in a row across passes";

    // Switched off during playback: what played stays before the current entry, the rest
    // follows in the original order; same current entry, still playing.
    const QString playing = current();
    const QStringList shuffled = ids();
    const int at = int(shuffled.indexOf(playing));
    player.state().setShuffleMode(MusicShuffleMode::off);
    EXPECT_EQ(ids().mid(0, at + 1), shuffled.mid(0, at + 1));
    QStringList rest = shuffled.mid(at + 1);
    std::sort(rest.begin(), rest.end());
    EXPECT_EQ(ids().mid(at + 1), rest);
    EXPECT_EQ(current(), playing);
    EXPECT_EQ(status(), Status::playing);

    // Switched on during playback: only what has not played yet is shuffled.
    const QStringList ordered = ids();
    player.state().setShuffleMode(MusicShuffleMode::songs);
    EXPECT_EQ(ids().mid(0, at + 1), ordered.mid(0, at + 1));
    EXPECT_EQ(current(), playing);
    EXPECT_EQ(engine.loads.last(), FakeMusicService::defaultURL(MusicItemID(playing))) << "the sound goes on";
}

TEST_F(PlayerTest, NextOnTheLastEntryEndsTheQueueWhateverShuffleDidWithoutRepeat)
{
    // Up Next edited down to the playing entry, then shuffle switched either way: Next ends the
    // queue instead of bringing back a song that already played.
    for (const bool startShuffled : {false, true}) {
        player.setQueue(FakeMusicService::songs(6));
        player.state().setRepeatMode(MusicRepeatMode::none);
        player.state().setShuffleMode(startShuffled ? MusicShuffleMode::songs : MusicShuffleMode::off);
        runTask(player.play());
        finishTrack();
        finishTrack();
        const QStringList entries = ids();
        QList<int> later;
        for (int i = 3; i < entries.size(); ++i)
            later.append(i);
        player.queue().removeEntries(later);
        ASSERT_EQ(ids().size(), 3);
        const QString last = current();
        ASSERT_EQ(ids().last(), last);
        player.state().setShuffleMode(startShuffled ? MusicShuffleMode::off : MusicShuffleMode::songs);
        player.state().setShuffleMode(startShuffled ? MusicShuffleMode::songs : MusicShuffleMode::off);
        EXPECT_EQ(ids().last(), last);
        runTask(player.skipToNextEntry());
        EXPECT_NE(status(), Status::playing) << "shuffled first: " << startShuffled;
        EXPECT_EQ(engine.loads.last(), FakeMusicService::defaultURL(MusicItemID(last)));
    }
}

TEST_F(PlayerTest, StationKeepsProducingEntriesAndCollectionsExpandOnPrepare)
{
    const auto station = FakeMusicService::station(QStringLiteral("st"));
    service.stationPools[station.id] = FakeMusicService::songs(3, QStringLiteral("p"));
    player.setQueue(station);
    EXPECT_TRUE(player.queue().entries().isEmpty()) << "expanded when it is prepared";
    player.state().setRepeatMode(MusicRepeatMode::all);
    runTask(player.play());
    EXPECT_EQ(ids().size(), ApplicationMusicPlayer::stationBatchSize);
    for (int i = 0; i < 7; ++i)
        finishTrack();
    EXPECT_EQ(ids().size(), 10) << "two entries still follow";
    finishTrack();
    EXPECT_EQ(ids().size(), 20) << "fetched before the last entry plays";
    for (int i = 0; i < 27; ++i)
        finishTrack();
    EXPECT_EQ(status(), Status::playing);
    EXPECT_EQ(engine.loads.size(), 36);
    EXPECT_GE(ids().size(), 36 + ApplicationMusicPlayer::stationRefillMargin - 1) << "refilled ahead of the end";
    EXPECT_EQ(player.queue().currentEntry()->id, player.queue().entries().at(35).id) << "never wrapped";
    EXPECT_GE(service.callCount(FakeMusicService::Operation::stationSongs), 4);

    // Skipping through a station never runs out either, and a failed refill is survived.
    service.fail(FakeMusicService::Operation::stationSongs, MusicError(MusicError::serviceFailed, QStringLiteral("down")));
    for (int i = 0; i < 10; ++i)
        runTask(player.skipToNextEntry());
    EXPECT_EQ(status(), Status::playing);

    // An album and a playlist expand into their tracks; an unknown or empty one is an error.
    const auto album = FakeMusicService::album(QStringLiteral("a1"));
    service.albumTracks[album.id] = FakeMusicService::songs(2, QStringLiteral("a"));
    player.setQueue(album);
    EXPECT_EQ(status(), Status::stopped);
    runTask(player.prepareToPlay());
    EXPECT_EQ(ids(), QStringList({"a0", "a1"}));
    const auto playlist = FakeMusicService::playlist(QStringLiteral("pl"));
    service.playlistTracks[playlist.id] = {};
    player.setQueue(playlist);
    EXPECT_THROW(runTask(player.play()), MusicError);
    player.setQueue(FakeMusicService::station(QStringLiteral("unknown")));
    EXPECT_THROW(runTask(player.play()), MusicError);
    EXPECT_EQ(status(), Status::stopped);
}

TEST_F(PlayerTest, PreviousRestartsAfterThreeSecondsAndGoesBackBefore)
{
    player.setQueue(FakeMusicService::songs(3));
    runTask(player.play());
    runTask(player.skipToPreviousEntry());
    EXPECT_EQ(current(), "s0") << "at the first entry previous restarts it";
    runTask(player.skipToNextEntry());
    clock.advance(5);
    runTask(player.skipToPreviousEntry());
    EXPECT_EQ(current(), "s1");
    EXPECT_DOUBLE_EQ(player.playbackTime(), 0) << "more than 3 s in: restarted";
    clock.advance(3);
    runTask(player.skipToPreviousEntry());
    EXPECT_EQ(current(), "s0") << "3 s or less: the previous entry";
    EXPECT_EQ(status(), Status::playing);

    // Paused, a skip moves the current entry without starting the sound.
    player.pause();
    runTask(player.skipToNextEntry());
    EXPECT_EQ(current(), "s1");
    EXPECT_NE(status(), Status::playing);
    EXPECT_TRUE(engine.isPaused());
}

TEST_F(PlayerTest, UnplayableEntriesAreErrorsNotCrashes)
{
    QSignalSpy failures(&player, &ApplicationMusicPlayer::playbackFailed);
    player.setQueue(FakeMusicService::songs(4));
    service.unplayable.insert(MusicItemID(QStringLiteral("s0")));
    EXPECT_THROW(runTask(player.play()), MusicError);
    EXPECT_EQ(status(), Status::stopped);
    EXPECT_EQ(current(), "s0") << "the failed entry stays current";

    // On its own the player logs and skips: s1 has no URL, the engine cannot open s2.
    service.unplayable = {MusicItemID(QStringLiteral("s1"))};
    engine.broken.insert(FakeMusicService::defaultURL(MusicItemID(QStringLiteral("s2"))));
    runTask(player.play());
    finishTrack();
    EXPECT_EQ(current(), "s3");
    EXPECT_EQ(status(), Status::playing);
    EXPECT_EQ(failures.count(), 2);

    // A file that breaks while it plays is skipped as well.
    player.state().setRepeatMode(MusicRepeatMode::all);
    engine.breakDuringPlayback(QStringLiteral("decoder error"));
    EXPECT_EQ(current(), "s0");
    EXPECT_EQ(failures.count(), 3);

    // A skip onto an unplayable entry throws to the caller.
    EXPECT_THROW(runTask(player.skipToNextEntry()), MusicError);

    // With every entry broken and repeat all, the player gives up instead of looping.
    player.setQueue(FakeMusicService::songs(3, QStringLiteral("b")));
    runTask(player.play());
    for (const auto &id : {"b0", "b1", "b2"})
        engine.broken.insert(FakeMusicService::defaultURL(MusicItemID(QString::fromUtf8(id))));
    const auto before = failures.count();
    finishTrack();
    EXPECT_EQ(status(), Status::stopped);
    EXPECT_EQ(failures.count() - before, 3);
}

TEST_F(PlayerTest, QueueEditsKeepIdsAndTakeEffectInPlayback)
{
    player.setQueue(FakeMusicService::songs(5));
    const auto entries = player.queue().entries();
    QSet<QString> entryIDs;
    for (const auto &entry : entries)
        entryIDs.insert(entry.id);
    EXPECT_EQ(entryIDs.size(), 5);
    player.setQueue(FakeMusicService::songs(1));
    EXPECT_FALSE(entryIDs.contains(player.queue().entries().first().id)) << "ids are never handed out twice";

    player.setQueue(FakeMusicService::songs(5));
    runTask(player.play());
    runTask(player.skipToNextEntry()); // s1 plays
    const auto s1 = *player.queue().currentEntry();

    player.queue().moveEntries({4}, 0);
    EXPECT_EQ(ids(), QStringList({"s4", "s0", "s1", "s2", "s3"}));
    player.queue().moveEntries({0, 1}, 5);
    EXPECT_EQ(ids(), QStringList({"s1", "s2", "s3", "s4", "s0"}));
    EXPECT_EQ(player.queue().currentEntry()->id, s1.id) << "moves keep the current entry";

    player.queue().removeEntries({1, 2, 99});
    EXPECT_EQ(ids(), QStringList({"s1", "s4", "s0"}));
    finishTrack();
    EXPECT_EQ(current(), "s4") << "the edit took effect in playback";

    player.queue().removeEntries({1});
    EXPECT_EQ(current(), "s0") << "removing the playing entry plays the next";
    EXPECT_EQ(status(), Status::playing);
    EXPECT_EQ(engine.loadedURL(), FakeMusicService::defaultURL(MusicItemID(QStringLiteral("s0"))));

    // Replacing the entries keeps the current one when it is still there.
    const auto left = player.queue().entries();
    player.queue().setEntries({left[1], left[0]});
    EXPECT_EQ(ids(), QStringList({"s0", "s1"}));
    EXPECT_EQ(current(), "s0");
    EXPECT_EQ(status(), Status::playing);

    player.queue().removeEntries({0, 1});
    EXPECT_TRUE(player.queue().entries().isEmpty());
    EXPECT_EQ(status(), Status::stopped);
    EXPECT_FALSE(engine.isLoaded());
}

TEST_F(PlayerTest, CommandsOvertakenWhileLoadingEndQuietly)
{
    // The service and the engine answer late, as real ones do.
    service.latency = 1;
    engine.answersLater = true;
    player.setQueue(FakeMusicService::songs(3));
    auto stopped = player.play();
    player.stop();
    clock.advance(1);
    EXPECT_NO_THROW(runTask(std::move(stopped)));
    EXPECT_EQ(status(), Status::stopped);
    EXPECT_FALSE(engine.isLoaded()) << "a stopped play leaves nothing loaded";

    // A new queue while the old one loads: only the new one plays.
    auto old = player.play();
    player.setQueue(FakeMusicService::songs(2, QStringLiteral("n")));
    auto fresh = player.play();
    clock.advance(1);
    EXPECT_NO_THROW(runTask(std::move(old)));
    runTask(std::move(fresh));
    EXPECT_EQ(current(), "n0");
    EXPECT_EQ(status(), Status::playing);
    EXPECT_EQ(engine.loadedURL(), FakeMusicService::defaultURL(MusicItemID(QStringLiteral("n0"))));

    // A seek while the entry loads is where it starts.
    auto skipping = player.skipToNextEntry();
    player.setPlaybackTime(4);
    clock.advance(1);
    runTask(std::move(skipping));
    EXPECT_EQ(current(), "n1");
    EXPECT_DOUBLE_EQ(player.playbackTime(), 4);

    // The output going away interrupts; play resumes.
    engine.interrupt();
    EXPECT_EQ(status(), Status::interrupted);
    runTask(player.play());
    EXPECT_EQ(status(), Status::playing);
    EXPECT_FALSE(engine.isPaused());
}

} // namespace
