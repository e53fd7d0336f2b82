// Suites.h - the benchmark files of zyne-bench, each registered by main in turn.
//
// A suite registers its benchmarks with the library and declares their summary
// lines (pairs and counts) on the reporter. Nothing is timed during registration.
#ifndef ZYNE_BENCH_SUITES_H
#define ZYNE_BENCH_SUITES_H

class RatioReporter;

/// ForwarderBench.cpp: bound forwarders against direct calls. False, with a message
/// on stderr, when the forwarders did not bind to the fake services.
bool RegisterForwarderBenchmarks(RatioReporter& reporter);

/// TextBench.cpp: StringMap lookup, UTF-8 case mapping, MacRoman conversion and
/// string sharing, each against a reference. Always true.
bool RegisterTextBenchmarks(RatioReporter& reporter);

/// StreamBench.cpp: DataFile sequential reads and writes against plain read/write,
/// and FileHandle growth. Always true.
bool RegisterStreamBenchmarks(RatioReporter& reporter);

/// VolumeBench.cpp: zqx create and extract against tar (child processes, real time), and
/// opening and listing a volume of 10,000 files against readdir. Always true.
bool RegisterVolumeBenchmarks(RatioReporter& reporter);

/// LoaderBench.cpp: LoadPlugin of a container through the reference host against copying
/// and dlopen of the same libraries (real time): one 16 MiB library, and 50 small ones.
/// Always true.
bool RegisterLoaderBenchmarks(RatioReporter& reporter);

#endif  // ZYNE_BENCH_SUITES_H
