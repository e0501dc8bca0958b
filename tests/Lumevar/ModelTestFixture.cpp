#include "ModelTestFixture.h"

#include "Support/UserDefaults.h"
#include "TestKit/AsyncTest.h"

#include <QCoreApplication>
#include <QElapsedTimer>

ModelTest::ModelTest()
{
    Clock::setShared(&clock);
    MusicService::setShared(&service);
    ApplicationMusicPlayer::setShared(&player);
    database = std::make_unique<LocalDatabase>(directory.filePath(QStringLiteral("local.db")));
    runTask(database->open());
    LocalDatabase::setShared(database.get());
    ErrorReporter::shared().setTelemetryOutlet(&telemetry);
    ErrorReporter::shared().setFeedbackOutlet(&feedback);
    UserDefaults::standard().removePersistentDomain();
    model = std::make_unique<MainViewModel>();
}

ModelTest::~ModelTest()
{
    model.reset();
    // Let tasks that still hold the store finish before it goes: a sync a test started without
    // waiting (a list's throttled sync) goes back and forth between the store's thread and this
    // one, and must not resume in the next test against a store that is gone.
    for (int round = 0; round < 50; ++round) {
        runTask(database->condition());
        QCoreApplication::processEvents();
    }
    ErrorReporter::shared().setTelemetryOutlet(nullptr);
    ErrorReporter::shared().setFeedbackOutlet(nullptr);
    UserDefaults::standard().removePersistentDomain();
    runTask(database->close());
    LocalDatabase::setShared(nullptr);
    ApplicationMusicPlayer::setShared(nullptr);
    MusicService::setShared(nullptr);
    Clock::setShared(nullptr);
}

bool ModelTest::spinUntil(const std::function<bool()> &pred)
{
    QElapsedTimer timer;
    timer.start();
    while (!pred()) {
        if (timer.elapsed() > 1000)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    }
    return true;
}

std::shared_ptr<bool> ModelTest::launch(QCoro::Task<void> task)
{
    auto done = std::make_shared<bool>(false);
    [](QCoro::Task<void> task, std::shared_ptr<bool> done) -> QCoro::Task<void> {
        try {
            co_await std::move(task);
        } catch (...) {
        }
        *done = true;
    }(std::move(task), done);
    return done;
}

void ModelTest::finish(QCoro::Task<void> task, double step)
{
    const std::shared_ptr<bool> done = launch(std::move(task));
    // The wall-clock cap only ends a task that hangs; it is no measure of speed. A sync of
    // 20,000 songs under the sanitizers on a loaded machine took more than the 5 s it once was,
    // and the test then went on to free the store under the running sync.
    QElapsedTimer timer;
    timer.start();
    while (!*done && timer.elapsed() < 120'000) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 2);
        if (!*done)
            clock.advance(step);
    }
    ASSERT_TRUE(*done) << "task did not finish";
}

QList<LocalSong> ModelTest::localSongs(int count, const QString &prefix)
{
    QList<LocalSong> songs;
    int order = 0;
    for (const Song &song : FakeMusicService::songs(count, prefix))
        songs.append(LocalSong::from(song, order++));
    return songs;
}
