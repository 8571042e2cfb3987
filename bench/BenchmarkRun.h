#pragma once

#include <benchmark/benchmark.h>

// The end of every benchmark program's main(): Google Benchmark reads its own options, refuses others, runs what the
// command line selects. Returns the process's exit status.
inline int runBenchmarks(int &argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
