// What a log line costs its caller:
//   - a debug line that its category filters out (as a user's build filters debug lines), with a
//     text and a number to fill in: the category's check alone;
//   - an error line while LogStore already holds its capacity, its category kept out of the
//     output: the pattern filled, the credentials cleaned and the entry written over the oldest.
// The floor of the second: the pattern filled alone (Log::format).
//
//   cmake --build build/default --target LogBench && build/default/bench/LogBench

#include "Support/Log.h"
#include "Common/BenchMain.h"

#include <QCoreApplication>
#include <benchmark/benchmark.h>

namespace {

const QString title = QStringLiteral("Songs of the Northern Shore (Remastered)");

void BM_FilteredDebugLine(benchmark::State &state)
{
    QLoggingCategory::setFilterRules(QStringLiteral("com.dunmoor.Lumevar.sync.debug=false"));
    int count = 0;
    for (auto _ : state) {
        LUMEVAR_DEBUG(Log::sync(), "Synced \"%@\" in %d ms", title, count);
        benchmark::DoNotOptimize(++count);
    }
    QLoggingCategory::setFilterRules(QString());
}
BENCHMARK(BM_FilteredDebugLine)->Repetitions(5)->ReportAggregatesOnly(true);

void BM_ErrorLineIntoAFullStore(benchmark::State &state)
{
    QLoggingCategory::setFilterRules(QStringLiteral("com.dunmoor.Lumevar.sync.critical=false"));
    LogStore::shared().clear();
    for (qsizetype i = 0; i < LogStore::capacity; ++i)
        LUMEVAR_ERROR(Log::sync(), "Failed to load albums: %@", title);
    for (auto _ : state)
        LUMEVAR_ERROR(Log::sync(), "Failed to load albums: %@", title);
    LogStore::shared().clear();
    QLoggingCategory::setFilterRules(QString());
}
BENCHMARK(BM_ErrorLineIntoAFullStore)->Unit(benchmark::kMicrosecond)->Repetitions(5)->ReportAggregatesOnly(true);

void BM_FloorFormat(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(Log::format("Failed to load albums: %@", {title}));
}
BENCHMARK(BM_FloorFormat)->Unit(benchmark::kMicrosecond)->Repetitions(5)->ReportAggregatesOnly(true);

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    return BenchMain::run(argc, argv);
}
