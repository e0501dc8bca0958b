// The local store at the size of a large library: 100,000 songs, 10,000 albums, 3,000 artists,
// 1,000 playlists with 50,000 entries (one of them 5,000 songs long), with varied texts (accents,
// numbers in titles, shared prefixes), served by an in-memory music service.
//
//   cmake --build build/default --target StoreBench && build/default/bench/StoreBench

#include "LumevarCore/LocalDatabase.h"
#include "LumevarCore/SyncEngine.h"
#include "Common/BenchLibrary.h"
#include "Support/Allocator.h"
#include "Support/Error.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTimeZone>
#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <numeric>
#include <array>
#include <exception>
#include <optional>

namespace {

using namespace BenchLibrary;

SyntheticService &service()
{
    static SyntheticService instance;
    return instance;
}

QTemporaryDir &folder()
{
    static QTemporaryDir dir;
    // STOREBENCH_KEEP leaves the synced store behind for a look with other tools.
    dir.setAutoRemove(!qEnvironmentVariableIsSet("STOREBENCH_KEEP"));
    return dir;
}

// The synced store the read benchmarks share.
LocalDatabase &database()
{
    static LocalDatabase *instance = [] {
        auto *made = new LocalDatabase(folder().filePath(QStringLiteral("shared.db")));
        awaitVoid(made->open());
        awaitVoid(SyncEngine(*made, service()).syncAll(nullptr));
        return made;
    }();
    return *instance;
}

void BM_SyncAll(benchmark::State &state)
{
    SyntheticService &source = service();
    int round = 0;
    CPUCounter cpu(state);
    for (auto _ : state) {
        state.PauseTiming();
        const double pausedAt = processCPUms();
        const QString path = folder().filePath(QStringLiteral("sync-%1.db").arg(round++));
        LocalDatabase store(path);
        awaitVoid(store.open());
        cpu.exclude(processCPUms() - pausedAt);
        state.ResumeTiming();
        awaitVoid(SyncEngine(store, source).syncAll(nullptr));
        state.PauseTiming();
        const double closedAt = processCPUms();
        awaitVoid(store.close());
        state.counters["file_MB"] = double(QFileInfo(path).size() + QFileInfo(path + QStringLiteral("-wal")).size()) / 1e6;
        QFile::remove(path);
        QFile::remove(path + QStringLiteral("-wal"));
        QFile::remove(path + QStringLiteral("-shm"));
        cpu.exclude(processCPUms() - closedAt);
        state.ResumeTiming();
    }
}
BENCHMARK(BM_SyncAll)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

// The first song list after the store opens: the records are read from the table then.
void BM_AllLibrarySongsCold(benchmark::State &state)
{
    LocalDatabase &store = database();
    CPUCounter cpu(state);
    double heldMB = 0;
    for (auto _ : state) {
        state.PauseTiming();
        const double pausedAt = processCPUms();
        awaitVoid(store.close());
        awaitVoid(store.open());
        const double before = residentMB();
        cpu.exclude(processCPUms() - pausedAt);
        state.ResumeTiming();
        const QList<LocalSong> songs = await(store.allLibrarySongs({LocalSong::SortKey::title, SortOrder::forward}));
        state.PauseTiming();
        heldMB = residentMB() - before;
        state.ResumeTiming();
    }
    state.counters["records_MB"] = heldMB;
}
BENCHMARK(BM_AllLibrarySongsCold)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

// A sorted song list with the records in memory. The first call of each key sorts the library on
// it (first_call_ms: what choosing another sort key costs); the timed calls alternate between
// forward and reverse, so that each makes a new list of 100,000 records.
void BM_AllLibrarySongs(benchmark::State &state)
{
    LocalDatabase &store = database();
    const auto key = LocalSong::SortKey(state.range(0));
    // The framework runs the function more than once: only its first run meets an unsorted key.
    static std::array<double, 7> firstCallMs{};
    if (firstCallMs[size_t(state.range(0))] == 0) {
        QElapsedTimer first;
        first.start();
        await(store.allLibrarySongs({key, SortOrder::reverse}));
        firstCallMs[size_t(state.range(0))] = double(first.nsecsElapsed()) / 1e6;
    }
    state.counters["first_call_ms"] = firstCallMs[size_t(state.range(0))];
    qsizetype count = 0;
    CPUCounter cpu(state);
    bool forward = true;
    for (auto _ : state) {
        count = await(store.allLibrarySongs({key, forward ? SortOrder::forward : SortOrder::reverse})).size();
        forward = !forward;
    }
    state.counters["songs"] = double(count);
    static const char *names[] = {"title", "artistName", "albumTitle", "duration", "genre", "releaseDate", "order"};
    state.SetLabel(names[state.range(0)]);
}
BENCHMARK(BM_AllLibrarySongs)->DenseRange(0, 6)->Unit(benchmark::kMillisecond)->UseRealTime();

// The daily sync of a library that has not changed since the last one.
void BM_SyncAllUnchanged(benchmark::State &state)
{
    LocalDatabase &store = database();
    SyntheticService &source = service();
    CPUCounter cpu(state);
    for (auto _ : state)
        awaitVoid(SyncEngine(store, source).syncAll(nullptr));
}
BENCHMARK(BM_SyncAllUnchanged)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

void BM_SearchWhileTyping(benchmark::State &state)
{
    LocalDatabase &store = database();
    const QStringList queries = {QStringLiteral("beach bunny"), QStringLiteral("cafe del"), QStringLiteral("midnight city"),
                                 QStringLiteral("love"), QStringLiteral("the golden river"), QStringLiteral("electrique 12"),
                                 QStringLiteral("senorita"), QStringLiteral("track 7 summer")};
    CPUCounter cpu(state);
    QList<double> latencies;
    for (auto _ : state) {
        for (const QString &query : queries) {
            for (int length = 1; length <= query.size(); ++length) {
                QElapsedTimer timer;
                timer.start();
                benchmark::DoNotOptimize(await(store.search(query.left(length))));
                latencies.append(double(timer.nsecsElapsed()) / 1e6);
                if (qEnvironmentVariableIsSet("STOREBENCH_TRACE"))
                    fprintf(stderr, "%8.2f ms  %s\n", latencies.last(), qUtf8Printable(query.left(length)));
            }
        }
    }
    std::sort(latencies.begin(), latencies.end());
    auto percentile = [&latencies](double p) { return latencies[qMin(latencies.size() - 1, qsizetype(p * double(latencies.size())))]; };
    state.counters["p50_ms"] = percentile(0.50);
    state.counters["p95_ms"] = percentile(0.95);
    state.counters["p99_ms"] = percentile(0.99);
    state.counters["max_ms"] = latencies.last();
    state.counters["keystrokes"] = double(latencies.size());
    state.counters["mean_ms"] = std::accumulate(latencies.begin(), latencies.end(), 0.0) / double(latencies.size());
}
BENCHMARK(BM_SearchWhileTyping)->Unit(benchmark::kMillisecond)->Iterations(5)->UseRealTime();

void BM_HasSong(benchmark::State &state)
{
    LocalDatabase &store = database();
    const SyntheticService &source = service();
    CPUCounter cpu(state);
    int i = 0;
    for (auto _ : state) {
        const Song &song = source.library.songs[(i++ * 7919) % songCount];
        benchmark::DoNotOptimize(await(store.hasSong(song.title.toUpper(), song.artistName, song.albumTitle)));
    }
}
BENCHMARK(BM_HasSong)->Unit(benchmark::kMicrosecond)->UseRealTime();

void BM_HasSongMissing(benchmark::State &state)
{
    LocalDatabase &store = database();
    CPUCounter cpu(state);
    for (auto _ : state)
        benchmark::DoNotOptimize(await(store.hasSong(QStringLiteral("No such song"), QStringLiteral("Nobody"), std::nullopt)));
}
BENCHMARK(BM_HasSongMissing)->Unit(benchmark::kMicrosecond)->UseRealTime();

void BM_BigPlaylistSongs(benchmark::State &state)
{
    LocalDatabase &store = database();
    LocalPlaylist playlist;
    playlist.id = QStringLiteral("p.0");
    CPUCounter cpu(state);
    qsizetype count = 0;
    for (auto _ : state)
        count = await(store.songs(playlist)).size();
    state.counters["songs"] = double(count);
}
BENCHMARK(BM_BigPlaylistSongs)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_FileSize(benchmark::State &state)
{
    LocalDatabase &store = database();
    for (auto _ : state)
        benchmark::DoNotOptimize(&store);
    const QString path = store.path();
    state.counters["file_MB"] = double(QFileInfo(path).size() + QFileInfo(path + QStringLiteral("-wal")).size()) / 1e6;
}
BENCHMARK(BM_FileSize)->Iterations(1);

} // namespace

int main(int argc, char **argv)
{
    // As the application does at start-up.
    Allocator::keepLargeBlocksInHeap();
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
