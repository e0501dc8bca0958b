// The player mirror: the eager entry and its window, the debounced subscriptions, the position
// timer and the queue from the current entry on.

#include "ModelTestFixture.h"

#include "Support/NotificationCenter.h"
#include "TestKit/Lists.h"

class PlayerMirrorTest : public ModelTest {};

TEST_F(PlayerMirrorTest, ClickShowsEagerSongAtOnceAndDropsItWhenThePlayerCatchesUp)
{
    // The player answers late, so the surface must not wait for it.
    service.latency = 1.0;
    model->subscribeToPlayer();
    const QList<LocalSong> songs = localSongs(3);
    const auto done = launch(model->playSelection(songs, songs[1].identifier));

    EXPECT_EQ(model->_playingTitle(), songs[1].title);
    EXPECT_EQ(model->_playingSubtitle(), songs[1].artistName);
    EXPECT_EQ(model->_playingDuration(), songs[1].duration);
    EXPECT_EQ(model->_eagerEntry(), songs[1]);
    EXPECT_FALSE(model->_isStopped());

    // The player's status is still stopped, yet the song counts as playing in the window.
    model->refreshPlaybackStatus();
    EXPECT_NE(player.state().playbackStatus(), MusicPlaybackStatus::playing);
    EXPECT_TRUE(model->_isPlaying());
    EXPECT_TRUE(model->hasPlaybackTimer());

    clock.advance(2.5); // the player reports playing the same title; the debounced refreshes run
    ASSERT_TRUE(*done);
    EXPECT_EQ(player.state().playbackStatus(), MusicPlaybackStatus::playing);
    EXPECT_FALSE(model->_eagerEntry().has_value());
    EXPECT_TRUE(model->_eagerEntryDate().has_value()); // the date stays
    EXPECT_EQ(model->_playingTitle(), songs[1].title);
    EXPECT_TRUE(model->_isPlaying());
    EXPECT_EQ(textsOf(model->_queue(), &MusicPlayerQueueEntry::title), (QStringList{songs[1].title, songs[2].title}));

    // The 1.0 s timer follows the position.
    const double before = model->_currentPlayingTime();
    clock.advance(1.0);
    EXPECT_NEAR(model->_currentPlayingTime(), before + 1.0, 0.05);

    // A pause keeps everything but the playing state and the timer.
    runTask(model->pausePlayback());
    clock.advance(0.05);
    EXPECT_FALSE(model->_isPlaying());
    EXPECT_FALSE(model->hasPlaybackTimer());
    EXPECT_FALSE(model->_isStopped());
    EXPECT_EQ(model->_playingTitle(), songs[1].title);
}

TEST_F(PlayerMirrorTest, EagerEntryIsTrustedForFiveSecondsOnly)
{
    const LocalSong eager = localSongs(1, QStringLiteral("eager")).first();
    player.setQueue(QList<Song>{FakeMusicService::song(QStringLiteral("other"), QStringLiteral("Other"))});
    model->_isStopped.set(false);
    model->_eagerEntry.set(eager);
    model->_eagerEntryDate.set(clock.now());

    clock.advance(4.9);
    model->refreshPlayerEntry();
    EXPECT_EQ(model->_playingTitle(), eager.title);

    clock.advance(0.1); // exactly 5.0 s: no longer later than now minus the window
    model->refreshPlayerEntry();
    EXPECT_EQ(model->_playingTitle(), QStringLiteral("Other"));
    EXPECT_EQ(model->_eagerEntry(), eager); // ignored, not cleared
    model->refreshPlaybackStatus();
    EXPECT_FALSE(model->_isPlaying());

    // A stopped player never shows an eager song, even a fresh one.
    model->_eagerEntryDate.set(clock.now());
    model->_isStopped.set(true);
    model->refreshPlayerEntry();
    EXPECT_EQ(model->_playingTitle(), QStringLiteral("Other"));
}

TEST_F(PlayerMirrorTest, PlayerChangesAreDebouncedBy33Milliseconds)
{
    model->subscribeToPlayer();
    int reloads = 0;
    const NotificationToken token = NotificationCenter::shared().addObserver(Notifications::reloadVisibleRows, [&reloads] { ++reloads; });

    player.setQueue(QList<Song>{FakeMusicService::song(QStringLiteral("a"), QStringLiteral("A"))});
    clock.advance(0.02);
    player.setQueue(QList<Song>{FakeMusicService::song(QStringLiteral("b"), QStringLiteral("B"))});
    clock.advance(0.02);
    EXPECT_FALSE(model->_playingTitle().has_value()); // 40 ms after the first event, 20 after the last
    EXPECT_EQ(reloads, 0);
    clock.advance(0.02);
    EXPECT_EQ(model->_playingTitle(), QStringLiteral("B"));
    EXPECT_EQ(reloads, 1);
}

TEST_F(PlayerMirrorTest, LibraryCheckAndShareLinkFollowTheShownItem)
{
    player.setQueue(QList<Song>{FakeMusicService::song(QStringLiteral("cat1"), QStringLiteral("Not Stored"))});
    model->refreshPlayerEntry();
    ASSERT_TRUE(waitUntil([this] { return model->_shareLink().has_value(); }));
    EXPECT_TRUE(model->_canAddToLibrary());
    EXPECT_EQ(model->_shareLink(), QUrl(QStringLiteral("https://music.apple.com/us/song/cat1")));

    player.queue().setEntries({});
    model->refreshPlayerEntry();
    EXPECT_FALSE(model->_canAddToLibrary());
    EXPECT_FALSE(model->_shareLink().has_value());
    EXPECT_FALSE(model->_playingTitle().has_value());
    EXPECT_TRUE(model->_queue().isEmpty());

    // A service whose songs have no public page gives no link to share.
    service.publicSongPages = false;
    player.setQueue(QList<Song>{FakeMusicService::song(QStringLiteral("local1"), QStringLiteral("Only Here"))});
    model->refreshPlayerEntry();
    ASSERT_TRUE(waitUntil([this] { return model->_canAddToLibrary(); }));
    EXPECT_FALSE(model->_shareLink().has_value());
}

TEST_F(PlayerMirrorTest, PlayingSourceRestsOnTheSavedPlace)
{
    LocalAlbum album;
    album.id = album.identifier = QStringLiteral("al1");
    model->_navigationPath.set({NavigationItem::root(), NavigationItem::container(ContainerKind::albums)});
    model->_selectedAlbumID.set(album.id);
    model->saveSnapback();
    EXPECT_FALSE(model->isPlayingSource(album)); // not playing
    model->_isPlaying.set(true);
    EXPECT_TRUE(model->isPlayingSource(album));
    LocalAlbum other = album;
    other.id = QStringLiteral("al2");
    EXPECT_FALSE(model->isPlayingSource(other));
    LocalPlaylist playlist;
    playlist.id = album.id;
    EXPECT_FALSE(model->isPlayingSource(playlist)); // another container
}
