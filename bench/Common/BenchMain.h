#pragma once
// What every benchmark executable's main() shares once its application object is made: Google
// Benchmark reads its flags (an unknown one ends the run with 1), the benchmarks run, the library
// shuts down. prepare, when given, runs after the flags are read and before the first benchmark
// (building a large library that several benchmarks share, say).

#include <functional>

namespace BenchMain {

int run(int &argc, char **argv, const std::function<void()> &prepare = {});

} // namespace BenchMain
