// What a telemetry signal costs the application, with 10,000 signals already queued:
//   - the caller's thread: one TelemetryDeck::signal call (gates, prefixes, one posted event);
//   - the main thread's share: the posted step that reads the default user and builds the default
//     parameters, then hands the signal to the worker.
// Each is timed over batches of 100 calls and reported per call. The floors: a bare posted event
// (what any hop to the main thread costs) and the default parameters alone.
//
//   cmake --build build/default --target TelemetryBench && build/default/bench/TelemetryBench

#include "Support/Clock.h"
#include "TelemetryDeck/DefaultSignalPayload.h"
#include "TelemetryDeck/SignalManager.h"
#include "TelemetryDeck/TelemetryDeck.h"
#include "TelemetryDeck/TelemetryManager.h"
#include "TelemetryDeck/UtilityQueue.h"
#include "Common/BenchMain.h"

#include <QCoreApplication>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>
#include <chrono>
#include <ctime>

namespace {

constexpr int queued = 10000;
constexpr int batch = 100;

// A clock whose scheduled calls never come: no tick sends the queue away while it is measured.
class StillClock final : public Clock {
public:
    double now() const override { return SystemClock().now(); }
    std::unique_ptr<ScheduledCall> schedule(double, std::function<void()>, double) override
    {
        return std::make_unique<ScheduledCall>();
    }
};

struct Client {
    Client()
    {
        Clock::setShared(&clock);
        auto configuration = std::make_shared<TelemetryManagerConfiguration>(
            QStringLiteral("7C1E52D0-6A3B-4F18-9E27-3D0B5A8C41F6"), std::nullopt, QUrl(QStringLiteral("http://127.0.0.1:1")));
        configuration->cacheDirectory.set(folder.path());
        configuration->logHandler.set(std::nullopt);
        TelemetryDeck::initialize(configuration);
        refill();
    }
    ~Client()
    {
        TelemetryDeck::stopAndDiscardSignals();
        Clock::setShared(nullptr);
    }
    static SignalCache &cache() { return TelemetryManager::shared()->signalManager().signalCache(); }
    // Lets every signal reach the queue, then brings it back to 10,000.
    void refill()
    {
        QCoreApplication::processEvents();
        UtilityQueue::waitUntilIdle();
        while (cache().signalCount() < queued) {
            for (int i = 0; i < 1000; ++i)
                TelemetryDeck::signal(QStringLiteral("change_padding"), {{QStringLiteral("padding"), QStringLiteral("1")}});
            QCoreApplication::processEvents();
            UtilityQueue::waitUntilIdle();
        }
        // Batches of 100 off the head; the queue ends between 10,000 and 10,099.
        while (cache().signalCount() >= queued + SignalCache::maximumNumberOfSignalsToPopAtOnce)
            cache().popBatch();
    }

    StillClock clock;
    QTemporaryDir folder;
};

Client &client()
{
    static Client instance;
    return instance;
}

using Steady = std::chrono::steady_clock;

// The calling thread's own processor time, in seconds: on a shared machine the wall time also
// counts the moments other processes held the core.
double threadSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) / 1e9;
}

// Reports the thread's processor time per call, in microseconds.
void reportThreadTime(benchmark::State &state, double seconds)
{
    state.counters["thread_us"] = benchmark::Counter(seconds * 1e6 / double(state.iterations()) / batch);
}

void BM_SignalOnCallersThread(benchmark::State &state)
{
    Client &world = client();
    double thread = 0;
    for (auto _ : state) {
        const double threadStart = threadSeconds();
        const auto start = Steady::now();
        for (int i = 0; i < batch; ++i)
            TelemetryDeck::signal(QStringLiteral("change_padding"), {{QStringLiteral("padding"), QStringLiteral("1")}});
        state.SetIterationTime(std::chrono::duration<double>(Steady::now() - start).count() / batch);
        thread += threadSeconds() - threadStart;
        world.refill();
    }
    reportThreadTime(state, thread);
}
BENCHMARK(BM_SignalOnCallersThread)->UseManualTime()->Unit(benchmark::kMicrosecond)->Iterations(200)->Repetitions(5)->ReportAggregatesOnly(true);

void BM_SignalMainThreadShare(benchmark::State &state)
{
    Client &world = client();
    double thread = 0;
    for (auto _ : state) {
        for (int i = 0; i < batch; ++i)
            TelemetryDeck::signal(QStringLiteral("change_padding"), {{QStringLiteral("padding"), QStringLiteral("1")}});
        const double threadStart = threadSeconds();
        const auto start = Steady::now();
        QCoreApplication::processEvents();
        state.SetIterationTime(std::chrono::duration<double>(Steady::now() - start).count() / batch);
        thread += threadSeconds() - threadStart;
        world.refill();
    }
    reportThreadTime(state, thread);
}
BENCHMARK(BM_SignalMainThreadShare)->UseManualTime()->Unit(benchmark::kMicrosecond)->Iterations(200)->Repetitions(5)->ReportAggregatesOnly(true);

void BM_FloorPostedEvent(benchmark::State &state)
{
    QObject target;
    const QString name = QStringLiteral("change_padding");
    for (auto _ : state) {
        const auto start = Steady::now();
        for (int i = 0; i < batch; ++i)
            QMetaObject::invokeMethod(&target, [name] { benchmark::DoNotOptimize(name); }, Qt::QueuedConnection);
        state.SetIterationTime(std::chrono::duration<double>(Steady::now() - start).count() / batch);
        QCoreApplication::processEvents();
    }
}
BENCHMARK(BM_FloorPostedEvent)->UseManualTime()->Unit(benchmark::kMicrosecond)->Iterations(200)->Repetitions(5)->ReportAggregatesOnly(true);

void BM_FloorDefaultParameters(benchmark::State &state)
{
    client();
    for (auto _ : state)
        benchmark::DoNotOptimize(DefaultSignalPayload::parameters(&TelemetryManager::shared()->sessionManager()));
}
BENCHMARK(BM_FloorDefaultParameters)->Unit(benchmark::kMicrosecond)->Repetitions(5)->ReportAggregatesOnly(true);

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QStandardPaths::setTestModeEnabled(true); // the client's settings file stays out of the user's
    return BenchMain::run(argc, argv);
}
