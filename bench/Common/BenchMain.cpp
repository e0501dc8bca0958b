#include "Common/BenchMain.h"

#include <benchmark/benchmark.h>

namespace BenchMain {

int run(int &argc, char **argv, const std::function<void()> &prepare)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    if (prepare)
        prepare();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

} // namespace BenchMain
