// The libmpv engine on real files with the null audio output (which still plays in real time):
// loading, position, end of file, failures, and the player advancing on it. Waits run the event
// loop against a limit, so a broken engine fails the test instead of hanging it.
#include "Platform/LocalLibrary/LocalLibraryService.h"
#include "Platform/Music/ApplicationMusicPlayer.h"
#include "Platform/Music/MpvAudioEngine.h"
#include "fakes/FakeMusicService.h"

#include "Support/Error.h"
#include "Support/WorkerPools.h"
#include "TestKit/AsyncTest.h"
#include "TestKit/Waits.h"

#include <QCoreApplication>
#include <QDataStream>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QThreadPool>
#include <cmath>
#include <cstdio>
#include <unistd.h>
#include <gtest/gtest.h>

namespace {

// A mono 16-bit PCM WAV file holding a sine tone.
QUrl writeSineWav(const QString &path, double seconds, double frequency = 440)
{
    constexpr quint32 rate = 44100;
    const auto samples = quint32(seconds * rate);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return {};
    QDataStream out(&file);
    out.setByteOrder(QDataStream::LittleEndian);
    out.writeRawData("RIFF", 4);
    out << quint32(36 + samples * 2);
    out.writeRawData("WAVEfmt ", 8);
    out << quint32(16) << quint16(1) << quint16(1) << rate << quint32(rate * 2) << quint16(2) << quint16(16);
    out.writeRawData("data", 4);
    out << quint32(samples * 2);
    for (quint32 i = 0; i < samples; ++i)
        out << qint16(std::lround(8000 * std::sin(2 * M_PI * frequency * i / rate)));
    return QUrl::fromLocalFile(path);
}

MpvAudioEngine::Options nullOutput() { return MpvAudioEngine::Options{QStringLiteral("null"), 100}; }

class MpvAudioEngineTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(dir.isValid()); }
    QString path(const QString &name) const { return dir.filePath(name); }
    QTemporaryDir dir;
};

TEST_F(MpvAudioEngineTest, PlaysAFileToItsEndAndReportsFailures)
{
    MpvAudioEngine engine(nullOutput());
    ASSERT_TRUE(engine.isAvailable());
    QSignalSpy loaded(&engine, &AudioEngine::loaded);
    QSignalSpy ends(&engine, &AudioEngine::endOfFile);
    QSignalSpy failures(&engine, &AudioEngine::failed);

    const QUrl tone = writeSineWav(path("tone.wav"), 1.2);
    EXPECT_TRUE(engine.isPaused()) << "a fresh engine is paused";
    engine.load(tone);
    ASSERT_TRUE(waitUntil([&] { return loaded.count() == 1; }));
    EXPECT_NEAR(engine.duration(), 1.2, 0.05);
    EXPECT_DOUBLE_EQ(engine.position(), 0) << "still paused";
    engine.play();
    ASSERT_TRUE(waitUntil([&] { return engine.position() > 0.1; })) << "position moves while playing";
    EXPECT_TRUE(ends.isEmpty());
    ASSERT_TRUE(waitUntil([&] { return ends.count() == 1; }));
    EXPECT_EQ(engine.duration(), 0) << "unloaded at its end";
    EXPECT_TRUE(failures.isEmpty());

    // Replacing a playing file starts the new one from its beginning.
    engine.load(writeSineWav(path("long.wav"), 3));
    ASSERT_TRUE(waitUntil([&] { return loaded.count() == 2; }));
    ASSERT_TRUE(waitUntil([&] { return engine.position() > 0.2; }));
    engine.load(tone);
    ASSERT_TRUE(waitUntil([&] { return loaded.count() == 3; }));
    EXPECT_LT(engine.position(), 0.2);
    EXPECT_NEAR(engine.duration(), 1.2, 0.05);
    engine.stop();
    EXPECT_EQ(engine.duration(), 0);

    // A missing file and a file that is no audio become failed(), with the reason.
    engine.load(QUrl::fromLocalFile(path("missing.wav")));
    ASSERT_TRUE(waitUntil([&] { return failures.count() == 1; }));
    QFile junk(path("junk.wav"));
    ASSERT_TRUE(junk.open(QIODevice::WriteOnly));
    junk.write(QByteArray(4096, '\x5a'));
    junk.close();
    engine.load(QUrl::fromLocalFile(junk.fileName()));
    ASSERT_TRUE(waitUntil([&] { return failures.count() == 2; }));
    EXPECT_TRUE(failures.last().first().toString().contains(QStringLiteral("junk.wav")));
    EXPECT_EQ(loaded.count(), 3);
}

// mpv starts on a worker thread at the first load: what the player asks before it runs is kept.
TEST_F(MpvAudioEngineTest, TheFirstLoadWaitsForMpvToStart)
{
    const QUrl tone = writeSineWav(path("tone.wav"), 1.0);
    {
        // Gone while mpv starts: the player it made is ended, nothing is reported.
        MpvAudioEngine engine(nullOutput());
        engine.load(tone);
    }
    MpvAudioEngine engine(nullOutput());
    QSignalSpy loaded(&engine, &AudioEngine::loaded);
    QSignalSpy failures(&engine, &AudioEngine::failed);
    engine.play();
    engine.load(QUrl::fromLocalFile(path("missing.wav")));
    engine.load(tone);
    EXPECT_EQ(loaded.count(), 0);
    ASSERT_TRUE(waitUntil([&] { return loaded.count() == 1; })) << "only the last load opens";
    EXPECT_FALSE(engine.isPaused());
    ASSERT_TRUE(waitUntil([&] { return engine.position() > 0.1; })) << "a play asked for while mpv started";
    EXPECT_TRUE(failures.isEmpty()) << "the replaced load is never opened";
}

// An engine started ahead of its first load (a song was selected) hands the running player to
// that load; one destroyed at any point of its start neither waits for it nor leaves the start
// touching it (the sanitizer builds catch a use after free or a player ended twice).
TEST_F(MpvAudioEngineTest, AnEngineStartedAheadServesTheFirstLoadOrIsLetGo)
{
    const QUrl tone = writeSineWav(path("tone.wav"), 1.0);
    {
        // Gone while the start runs: the start ends its own player.
        MpvAudioEngine engine(nullOutput());
        engine.prepare();
    }
    {
        // Gone after the start finished but before the main thread took the player.
        MpvAudioEngine engine(nullOutput());
        engine.prepare();
        WorkerPools::background().waitForDone();
    }
    // The hand-overs queued for the two engines above find them gone.
    QCoreApplication::processEvents();

    MpvAudioEngine engine(nullOutput());
    QSignalSpy loaded(&engine, &AudioEngine::loaded);
    engine.prepare();
    engine.prepare();
    WorkerPools::background().waitForDone();
    QCoreApplication::processEvents();
    engine.play();
    engine.load(tone);
    ASSERT_TRUE(waitUntil([&] { return loaded.count() == 1; }));
    ASSERT_TRUE(waitUntil([&] { return engine.position() > 0.1; }));
}

TEST_F(MpvAudioEngineTest, PlaysAFileWhoseNameIsNotUtf8)
{
    MpvAudioEngine engine(nullOutput());
    QSignalSpy loaded(&engine, &AudioEngine::loaded);
    QSignalSpy failures(&engine, &AudioEngine::failed);
    writeSineWav(path("plain.wav"), 0.6);
    const QByteArray bytes = QFile::encodeName(dir.path()) + "/caf\xe9 \xff.wav";
    ASSERT_EQ(std::rename(QFile::encodeName(path("plain.wav")).constData(), bytes.constData()), 0);

    engine.load(LocalLibraryService::localFileURL(bytes));
    ASSERT_TRUE(waitUntil([&] { return loaded.count() == 1 || failures.count() > 0; }));
    EXPECT_TRUE(failures.isEmpty()) << failures.value(0).value(0).toString().toStdString();
    EXPECT_NEAR(engine.duration(), 0.6, 0.05);
    engine.stop();
    // QTemporaryDir cannot name this file to remove it.
    ::unlink(bytes.constData());
}

TEST_F(MpvAudioEngineTest, PlayerAdvancesAtTheEndOfARealFile)
{
    MpvAudioEngine engine(nullOutput());
    FakeMusicService service;
    ApplicationMusicPlayer player(engine, service);
    const auto songs = FakeMusicService::songs(3);
    service.urls[songs[0].id] = writeSineWav(path("a.wav"), 1.0, 440);
    service.urls[songs[1].id] = writeSineWav(path("b.wav"), 0.5, 660);
    service.urls[songs[2].id] = QUrl::fromLocalFile(path("gone.wav"));
    QSignalSpy failures(&player, &ApplicationMusicPlayer::playbackFailed);

    player.setQueue(songs);
    runTask(player.prepareToPlay());
    runTask(player.play());
    EXPECT_EQ(player.state().playbackStatus(), MusicPlaybackStatus::playing);
    ASSERT_TRUE(waitUntil([&] { return player.playbackTime() > 0.1; }));
    ASSERT_TRUE(waitUntil([&] { return player.queue().currentEntry()->song()->id == songs[1].id; }));
    EXPECT_EQ(player.state().playbackStatus(), MusicPlaybackStatus::playing);
    // The third file is missing: reported, skipped, and the queue ends.
    ASSERT_TRUE(waitUntil([&] { return player.state().playbackStatus() == MusicPlaybackStatus::stopped; }));
    EXPECT_EQ(failures.count(), 1);
    EXPECT_EQ(player.queue().currentEntry()->song()->id, songs[0].id);

    // Played directly, the missing file is an error thrown to the caller.
    player.setQueue(songs[2]);
    EXPECT_THROW(runTask(player.play()), MusicError);
}

} // namespace
