// Up Next with a long queue: opening the popup (rows built, laid out and painted once) and moving
// a row (the player's queue edited, the mirror refreshed, the rows rebuilt and repainted), over a
// real player queue of 2,500 entries. The floor is what Qt alone costs for the same list: a
// QListView over a QStringListModel of as many titles, reset and painted.
//
//   cmake --build build/default --target UpNextBench && QT_QPA_PLATFORM=offscreen build/default/bench/UpNextBench

#include "Lumevar/App/SharedInstances.h"
#include "Lumevar/Model/MainViewModel.h"
#include "Lumevar/UI/Player/UpNextModel.h"
#include "Lumevar/UI/Player/UpNextView.h"
#include "LumevarCore/LocalDatabase.h"
#include "Platform/Music/ApplicationMusicPlayer.h"
#include "Platform/fakes/FakeMusicService.h"
#include "Platform/fakes/VirtualAudioEngine.h"
#include "TestKit/AsyncTest.h"
#include "TestKit/ManualClock.h"
#include "Common/BenchMain.h"

#include <QApplication>
#include <QListView>
#include <QStringListModel>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>
#include <optional>

namespace {

constexpr int queueLength = 2500;

// A player with a queue of 2,500 songs and the model mirroring it.
struct World {
    World()
    {
        database = std::make_unique<LocalDatabase>(directory.filePath(QStringLiteral("local.db")));
        shared.emplace(SharedInstances::Parts{.service = &service, .player = &player, .store = database.get(), .clock = &clock});
        runTask(database->open());
        model = std::make_unique<MainViewModel>();
        player.setQueue(FakeMusicService::songs(queueLength));
        model->refreshPlayerEntry();
        QCoreApplication::processEvents();
    }
    ~World()
    {
        model.reset();
        QCoreApplication::processEvents();
        runTask(database->close());
        shared.reset();
    }

    ManualClock clock;
    FakeMusicService service;
    VirtualAudioEngine engine{clock};
    ApplicationMusicPlayer player{engine, service};
    QTemporaryDir directory;
    std::unique_ptr<LocalDatabase> database;
    std::optional<SharedInstances> shared;
    std::unique_ptr<MainViewModel> model;
};

void BM_OpenUpNext(benchmark::State &state)
{
    World world;
    for (auto _ : state) {
        UpNextView view(*world.model);
        view.show();
        benchmark::DoNotOptimize(view.grab());
    }
    state.counters["rows"] = double(world.model->_queue().size());
}
BENCHMARK(BM_OpenUpNext)->Unit(benchmark::kMillisecond);

void BM_MoveRowInUpNext(benchmark::State &state)
{
    World world;
    UpNextView view(*world.model);
    view.show();
    view.grab();
    int from = queueLength - 1;
    for (auto _ : state) {
        view.model()->moveEntriesAt({from}, 10);
        QCoreApplication::processEvents(); // the rows follow the mirror
        view.list()->viewport()->repaint();
        from = from == queueLength - 1 ? queueLength - 2 : queueLength - 1;
    }
}
BENCHMARK(BM_MoveRowInUpNext)->Unit(benchmark::kMillisecond);

// The floor: a plain list of as many titles, reset and painted by Qt alone.
void BM_QtListFloor(benchmark::State &state)
{
    QStringList titles;
    for (int i = 0; i < queueLength; ++i)
        titles.append(QStringLiteral("Song s%1").arg(i));
    QStringListModel model;
    QListView view;
    view.setUniformItemSizes(true);
    view.setModel(&model);
    view.resize(UpNextView::contentSize);
    view.show();
    for (auto _ : state) {
        model.setStringList(titles);
        view.viewport()->repaint();
        benchmark::DoNotOptimize(view.grab());
    }
}
BENCHMARK(BM_QtListFloor)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    return BenchMain::run(argc, argv);
}
