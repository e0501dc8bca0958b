#include "ModelTestFixture.h"

#include "Support/UserDefaults.h"
#include "TestKit/AsyncTest.h"

#include <QCoreApplication>
#include <QElapsedTimer>

ModelTest::ModelTest()
{
    database = std::make_unique<LocalDatabase>(directory.filePath(QStringLiteral("local.db")));
    shared.emplace(SharedInstances::Parts{.service = &service,
                                          .player = &player,
                                          .store = database.get(),
                                          .clock = &clock,
                                          .telemetry = &telemetry,
                                          .feedback = &feedback});
    runTask(database->open());
    UserDefaults::standard().removePersistentDomain();
    model = std::make_unique<MainViewModel>();
}

ModelTest::~ModelTest()
{
    model.reset();
    // Let tasks that still hold the store finish before it goes: a sync a test started without
    // waiting (a list's throttled sync) goes back and forth between the store's thread and this
    // one, and must not resume in the next test against a store that is gone.
    waitForStoreCalls(50);
    UserDefaults::standard().removePersistentDomain();
    runTask(database->close());
    shared.reset();
}

void ModelTest::waitForStoreCalls(int rounds)
{
    for (int round = 0; round < rounds; ++round) {
        runTask(database->condition());
        QCoreApplication::processEvents();
    }
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

::testing::AssertionResult ModelTest::advanceUntil(const std::function<bool()> &done, const char *what, double step)
{
    // The wall-clock cap only ends a wait that hangs; it is no measure of speed. A sync of
    // 20,000 songs under the sanitizers on a loaded machine took more than the 5 s it once was,
    // and the test then went on to free the store under the running sync.
    QElapsedTimer timer;
    timer.start();
    while (!done()) {
        if (timer.elapsed() > 120'000)
            return ::testing::AssertionFailure() << "virtual time ran on for two real minutes without " << what;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 2);
        if (!done())
            clock.advance(step);
    }
    return ::testing::AssertionSuccess();
}

void ModelTest::finish(QCoro::Task<void> task, double step)
{
    const std::shared_ptr<bool> done = launch(std::move(task));
    ASSERT_TRUE(advanceUntil([&] { return *done; }, "the task's end", step));
}

QList<LocalSong> ModelTest::localSongs(int count, const QString &prefix)
{
    QList<LocalSong> songs;
    int order = 0;
    for (const Song &song : FakeMusicService::songs(count, prefix))
        songs.append(LocalSong::from(song, order++));
    return songs;
}
