// main.cpp - zyne-bench: registers every suite, runs it, prints the summary.
//
// Run through `./dev bench`; the library's flags pass through (for instance
// --benchmark_filter=StringMap, or --benchmark_repetitions=3 so that the summary
// takes the fastest of three runs of each benchmark).
#include <benchmark/benchmark.h>

#include "RatioReporter.h"
#include "Suites.h"

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;

    RatioReporter reporter;
    if (!RegisterForwarderBenchmarks(reporter) || !RegisterTextBenchmarks(reporter) ||
        !RegisterStreamBenchmarks(reporter) || !RegisterVolumeBenchmarks(reporter) ||
        !RegisterLoaderBenchmarks(reporter))
        return 1;

    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
