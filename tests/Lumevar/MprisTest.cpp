// The media player on the bus: what it reads from the model (status, loop status, metadata of the
// shown song, eager entry included) and what its commands do to the model.

#include "ModelTestFixture.h"

#include "Lumevar/Artwork/ArtworkImageCache.h"
#include "Lumevar/Mpris/MprisService.h"
#include "Lumevar/Mpris/MprisState.h"

#include <QDBusObjectPath>
#include <QFile>
#include <QRegularExpression>

class MprisTest : public ModelTest {
protected:
    // A play that the player answers only after a second of virtual time.
    std::shared_ptr<bool> startSlowPlay(const QList<LocalSong> &songs, int row)
    {
        service.latency = 1.0;
        model->subscribeToPlayer();
        return launch(model->playSelection(songs, songs[row].identifier));
    }
};

TEST_F(MprisTest, StatusAndMetadataFollowTheShownSongEagerEntryIncluded)
{
    EXPECT_EQ(Mpris::playbackStatus(*model), QStringLiteral("Stopped"));
    QList<LocalSong> songs = localSongs(3);
    songs[1].albumTitle = QStringLiteral("Nordlicht");
    songs[1].artistName = QStringLiteral("Åsa Lindqvist");
    songs[1].duration = 181.5;
    const auto done = startSlowPlay(songs, 1);

    // Before the player has answered, the bus already describes the chosen song.
    ASSERT_TRUE(model->_eagerEntry().has_value());
    const QVariantMap metadata = Mpris::metadata(*model);
    EXPECT_EQ(metadata.value(QStringLiteral("xesam:title")).toString(), songs[1].title);
    EXPECT_EQ(metadata.value(QStringLiteral("xesam:artist")).toStringList(), QStringList{QStringLiteral("Åsa Lindqvist")});
    EXPECT_EQ(metadata.value(QStringLiteral("xesam:album")).toString(), QStringLiteral("Nordlicht"));
    EXPECT_EQ(metadata.value(QStringLiteral("mpris:length")).toLongLong(), 181'500'000);
    const QDBusObjectPath track = metadata.value(QStringLiteral("mpris:trackid")).value<QDBusObjectPath>();
    EXPECT_NE(track, Mpris::noTrackPath());
    EXPECT_EQ(track, Mpris::currentTrackPath(*model));

    // Once the player plays it, the same song keeps the same track id.
    clock.advance(2.5);
    ASSERT_TRUE(*done);
    EXPECT_FALSE(model->_eagerEntry().has_value());
    EXPECT_EQ(Mpris::metadata(*model).value(QStringLiteral("xesam:title")).toString(), songs[1].title);
    EXPECT_EQ(Mpris::currentTrackPath(*model), track);
    EXPECT_EQ(Mpris::playbackStatus(*model), QStringLiteral("Playing"));

    MprisService mpris(*model, {});
    mpris.pause();
    clock.advance(0.1);
    EXPECT_EQ(Mpris::playbackStatus(*model), QStringLiteral("Paused"));
    mpris.playPause();
    clock.advance(0.1);
    EXPECT_EQ(Mpris::playbackStatus(*model), QStringLiteral("Playing"));
    mpris.stop();
    clock.advance(1.0);
    EXPECT_EQ(Mpris::playbackStatus(*model), QStringLiteral("Stopped"));
    // Stopped, the metadata holds only the "no track" id.
    const QVariantMap stopped = Mpris::metadata(*model);
    EXPECT_EQ(stopped.keys(), QStringList{QStringLiteral("mpris:trackid")});
    EXPECT_EQ(stopped.value(QStringLiteral("mpris:trackid")).value<QDBusObjectPath>(), Mpris::noTrackPath());
}

TEST_F(MprisTest, ANewSongsTitleAndCoverAreAnnouncedTogether)
{
    const QList<LocalSong> songs = localSongs(2, QStringLiteral("mpris%1-").arg(QCoreApplication::applicationPid()));
    // Both covers as the artwork cache keeps them.
    const auto coverOf = [](const LocalSong &song) { return ArtworkImageCache::shared().fileOfKey(song.identifier); };
    for (const LocalSong &song : songs) {
        QFile cover(coverOf(song));
        ASSERT_TRUE(cover.open(QIODevice::WriteOnly));
        cover.write("png");
    }
    // The player's artwork settles a tenth of a second after each song shows.
    model->setArtworkTask([this](std::optional<PlaybackItem> item, CancellationToken token) -> QCoro::Task<void> {
        if (!item)
            co_return;
        co_await Clock::shared().sleep(0.1, token);
        model->_playingItemIDForArtwork.set(item->songIDForArtwork);
    });
    MprisService::Hooks hooks;
    hooks.artworkSettles = true;
    MprisService mpris(*model, hooks);
    model->subscribeToPlayer();
    const auto announced = [&] {
        const QVariantMap metadata = mpris.publishedProperties().value(QStringLiteral("Metadata")).toMap();
        return std::pair(metadata.value(QStringLiteral("xesam:title")).toString(),
                         QUrl(metadata.value(QStringLiteral("mpris:artUrl")).toString()).toLocalFile());
    };

    finish(model->playSelection(songs, songs[0].identifier));
    clock.advance(0.5);
    EXPECT_TRUE(waitUntil([&] { return announced() == std::pair(songs[0].title, coverOf(songs[0])); }));
    // The next song shows at once, its cover a moment later: the announcement waits for both.
    runTask(model->skipToNext());
    ASSERT_TRUE(waitUntil([&] { return model->_playingTitle() == songs[1].title; }));
    settle(); // the turns in which an announcement that did not wait would go out
    EXPECT_EQ(announced(), std::pair(songs[0].title, coverOf(songs[0])));
    clock.advance(0.5);
    EXPECT_TRUE(waitUntil([&] { return announced() == std::pair(songs[1].title, coverOf(songs[1])); }));
    for (const LocalSong &song : songs)
        QFile::remove(coverOf(song));
}

TEST_F(MprisTest, TrackPathsAreValidAndDistinct)
{
    const QRegularExpression valid(QStringLiteral("^(/[A-Za-z0-9_]+)+$"));
    const QStringList ids = {QStringLiteral("a_b"), QStringLiteral("a.b"), QStringLiteral("a_2eb"), QStringLiteral("ß/ü x"),
                             QStringLiteral("i.123")};
    QSet<QString> paths;
    for (const QString &id : ids) {
        const QString path = Mpris::trackPath(id).path();
        EXPECT_TRUE(valid.match(path).hasMatch()) << path.toStdString();
        paths.insert(path);
    }
    EXPECT_EQ(paths.size(), ids.size());
    EXPECT_EQ(Mpris::trackPath(QString()), Mpris::noTrackPath());
}

TEST_F(MprisTest, SeekAndSetPositionMoveTheMirrorAndIgnoreStaleRequests)
{
    QList<LocalSong> songs = localSongs(3);
    for (LocalSong &song : songs)
        song.duration = 60;
    const auto done = startSlowPlay(songs, 0);
    clock.advance(2.5);
    ASSERT_TRUE(*done);
    MprisService mpris(*model, {});
    const QDBusObjectPath current = Mpris::currentTrackPath(*model);

    mpris.setPosition(current, 30'000'000);
    EXPECT_NEAR(model->currentPlayingTime(), 30.0, 0.01);
    // A request for another track, or past the end, changes nothing.
    mpris.setPosition(Mpris::trackPath(QStringLiteral("other")), 5'000'000);
    mpris.setPosition(current, 61'000'000);
    EXPECT_NEAR(model->currentPlayingTime(), 30.0, 0.01);
    // Seeking before the start lands on the start.
    mpris.seek(-45'000'000);
    EXPECT_NEAR(model->currentPlayingTime(), 0.0, 0.01);
    // Seeking past the end goes to the next track.
    mpris.seek(120'000'000);
    clock.advance(2.5);
    EXPECT_EQ(model->_playingTitle(), songs[1].title);
}

TEST_F(MprisTest, WithoutABusTheServiceStaysOff)
{
    MprisService mpris(*model, {});
    EXPECT_FALSE(mpris.registerOn(QDBusConnection(QStringLiteral("lumevar-no-such-connection"))));
    EXPECT_FALSE(mpris.isRegistered());
    EXPECT_TRUE(mpris.registeredName().isEmpty());
    // Commands still work through the model.
    mpris.play();
    mpris.next();
    EXPECT_EQ(Mpris::playbackStatus(*model), QStringLiteral("Stopped"));
}
