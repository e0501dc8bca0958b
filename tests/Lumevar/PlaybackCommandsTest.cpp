// Playback commands: the 200-song queue windows, the stop sequence, a failed play, skip and resume
// failures, and adding the playing song to the library. (Repeat, shuffle and seeking are tested
// through the player bar.)

#include "ModelTestFixture.h"

#include "Lumevar/Library/SongListViewModels.h"
#include "TestKit/Lists.h"


namespace {

QStringList ids(const QList<MusicPlayer::Queue::Entry> &entries)
{
    return textsOf(entries, [](const MusicPlayerQueueEntry &entry) { return entry.song() ? entry.song()->id.rawValue() : QString(); });
}

QStringList expectedIDs(int from, int to)
{
    QStringList result;
    for (int i = from; i < to; ++i)
        result.append(QStringLiteral("s%1").arg(i));
    return result;
}

} // namespace

class PlaybackCommandsTest : public ModelTest {};

TEST_F(PlaybackCommandsTest, QueueHoldsAtMost200SongsFromTheChosenRow)
{
    const QList<LocalSong> songs = localSongs(500);

    finish(model->playSelection(songs, QStringLiteral("s400")));
    EXPECT_EQ(ids(player.queue().entries()), expectedIDs(400, 500));
    EXPECT_FALSE(player.state().shuffleMode().has_value());

    finish(model->playSelection(songs, QStringLiteral("s10")));
    EXPECT_EQ(ids(player.queue().entries()), expectedIDs(10, 210));

    finish(model->playSelection(songs, SongSelection::playID));
    EXPECT_EQ(ids(player.queue().entries()), expectedIDs(0, 200));
    EXPECT_EQ(model->_eagerEntry().value_or(LocalSong()).id, songs[0].id);

    // Shuffle shuffles the first 200 of the list, and has no eager song.
    finish(model->playSelection(songs, SongSelection::shuffleID));
    QStringList shuffled = ids(player.queue().entries());
    shuffled.sort();
    QStringList first200 = expectedIDs(0, 200);
    first200.sort();
    EXPECT_EQ(shuffled, first200);
    EXPECT_EQ(player.state().shuffleMode(), MusicShuffleMode::songs);
    EXPECT_FALSE(model->_eagerEntry().has_value());

    // An id that matches nothing leaves the queue, yet restarts the eager clock and plays.
    clock.advance(10);
    const double clickTime = clock.now();
    finish(model->playSelection(songs, QStringLiteral("missing")));
    EXPECT_EQ(model->_eagerEntryDate(), clickTime);
    EXPECT_EQ(player.queue().entries().size(), 200);
    EXPECT_TRUE(model->_lastSavedSnapbackState().has_value());
}

TEST_F(PlaybackCommandsTest, PlaySongsCapsTheQueueAndSavesNoPlace)
{
    const QList<LocalSong> songs = localSongs(250);
    finish(model->playSongs(songs, false));
    EXPECT_EQ(ids(player.queue().entries()), expectedIDs(0, 200));
    EXPECT_FALSE(model->_lastSavedSnapbackState().has_value());
    EXPECT_EQ(model->_eagerEntry().value_or(LocalSong()).id, songs[0].id);
}

TEST_F(PlaybackCommandsTest, StopLeavesNoTrace)
{
    const QList<LocalSong> songs = localSongs(3);
    model->subscribeToPlayer();
    finish(model->playSelection(songs, QStringLiteral("s0")));
    clock.advance(0.1);
    model->_playingItemIDForArtwork.set(QStringLiteral("s0"));
    ASSERT_TRUE(model->_playingTitle().has_value());
    // Library checks are not cancelled by later refreshes: let the ones under way land first.
    ASSERT_TRUE(waitUntil([this] { return model->_shareLink().has_value(); }));
    waitForStoreCalls();

    const auto done = launch(model->stopPlayback());
    EXPECT_FALSE(*done); // waits 0.1 s for the player to settle
    clock.advance(0.1);
    ASSERT_TRUE(*done);
    clock.advance(0.1); // the debounced refreshes after the stop

    EXPECT_TRUE(model->_isStopped());
    EXPECT_FALSE(model->_isPlaying());
    EXPECT_FALSE(model->_eagerEntry().has_value());
    EXPECT_FALSE(model->_playingTitle().has_value());
    EXPECT_FALSE(model->_playingSubtitle().has_value());
    EXPECT_FALSE(model->_playingArtwork().has_value());
    EXPECT_FALSE(model->_playingItemIDForArtwork().has_value());
    EXPECT_FALSE(model->_shareLink().has_value());
    EXPECT_FALSE(model->_canAddToLibrary());
    EXPECT_EQ(model->_playingDuration(), 0.0);
    EXPECT_TRUE(model->_queue().isEmpty());
    EXPECT_TRUE(player.queue().entries().isEmpty());
    EXPECT_FALSE(model->hasPendingPlayerThumbnailTask());
    EXPECT_FALSE(model->hasPlaybackTimer());
    // SnapBack still works after a stop.
    EXPECT_TRUE(model->_lastSavedSnapbackState().has_value());
}

TEST_F(PlaybackCommandsTest, FailedPlayRaisesTheAlertWhileTheEagerSongStays)
{
    DetailSongsViewModel detail(*model);
    const QList<LocalSong> songs = localSongs(2);
    service.unplayable.insert(songs[0].id);
    model->_detailSongs.set(songs);

    finish(detail.playSelection(QStringLiteral("s0")));
    EXPECT_TRUE(model->_showPlayError());
    EXPECT_EQ(model->_eagerEntry(), songs[0]);
    EXPECT_EQ(model->_playingTitle(), songs[0].title);
    ASSERT_EQ(telemetry.errors.size(), 1);
    EXPECT_EQ(telemetry.errors[0].name, QStringLiteral("error_play_song"));
}

TEST_F(PlaybackCommandsTest, SkipAndResumeReportTheirFailuresWithoutAnAlert)
{
    runTask(model->resumePlayback()); // empty queue: the player refuses
    EXPECT_FALSE(model->_isStopped());
    ASSERT_EQ(telemetry.errors.size(), 1);
    EXPECT_EQ(telemetry.errors[0].name, QStringLiteral("error_resume_playback"));
    EXPECT_FALSE(model->_showPlayError());

    const QList<LocalSong> songs = localSongs(2);
    finish(model->playSelection(songs, QStringLiteral("s0")));
    finish(model->skipToNext());
    EXPECT_FALSE(model->_eagerEntry().has_value());
    EXPECT_EQ(model->_playingTitle(), songs[1].title);
}

TEST_F(PlaybackCommandsTest, AddToLibraryShowsTheToastAndSyncsInsertsLater)
{
    const Song catalogSong = FakeMusicService::song(QStringLiteral("cat9"), QStringLiteral("New"));
    service.catalog.songs.append(catalogSong);
    player.setQueue(QList<Song>{catalogSong});
    model->_canAddToLibrary.set(true);
    finish(model->addCurrentSongToLibrary());
    EXPECT_EQ(service.addedToLibrary, QList<MusicItemID>{MusicItemID(QStringLiteral("cat9"))});
    EXPECT_FALSE(model->_canAddToLibrary());
    EXPECT_TRUE(model->_showAddToast());
    EXPECT_FALSE(runTask(database->hasSong(QStringLiteral("New"), std::nullopt, std::nullopt)));

    // Nothing but time passing hides the toast after 3 s and brings the song into the store 3 s later.
    service.library.songs.append(catalogSong);
    service.library.songs.last().libraryAddedDate = QDateTime::currentDateTimeUtc();
    clock.advance(2.9);
    EXPECT_TRUE(model->_showAddToast());
    clock.advance(0.1);
    EXPECT_FALSE(model->_showAddToast());
    clock.advance(2.9);
    EXPECT_EQ(service.callCount(FakeMusicService::Operation::librarySongsAdded), 0);
    clock.advance(0.1);
    EXPECT_TRUE(waitUntil([&] { return service.callCount(FakeMusicService::Operation::librarySongsAdded) > 0; }));
    EXPECT_TRUE(waitUntil([&] { return runTask(database->hasSong(QStringLiteral("New"), std::nullopt, std::nullopt)); }));

    // A failure keeps the flag and shows no toast.
    model->_showAddToast.set(false);
    model->_canAddToLibrary.set(true);
    service.fail(FakeMusicService::Operation::addToLibrary, MusicError(MusicError::serviceFailed, QStringLiteral("no")));
    finish(model->addCurrentSongToLibrary());
    EXPECT_TRUE(model->_canAddToLibrary());
    EXPECT_FALSE(model->_showAddToast());
    EXPECT_EQ(telemetry.errors.last().name, QStringLiteral("error_add_to_library"));
}
