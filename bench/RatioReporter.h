// RatioReporter.h - zyne-bench's console report, ended by a summary of ratios and counts.
//
// Benchmarks come in pairs measured in the same run: a subject and the reference it
// is judged against. The report is the library's usual table; at the end a summary
// block gives one line per declared pair, the CPU-time ratio subject/reference (lower
// is better; real time for benchmarks registered with UseRealTime) with its goal when
// it has one, and one line per declared count (a user counter of one run, such as
// allocations per operation). With repetitions the fastest run of each benchmark
// counts, since noise only ever adds time. Pairs or counts whose runs were filtered
// out are left out of the summary.
#ifndef ZYNE_BENCH_RATIO_REPORTER_H
#define ZYNE_BENCH_RATIO_REPORTER_H

#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

class RatioReporter : public benchmark::ConsoleReporter {
public:
    /// Colours only on a terminal, as the library's own console report does.
    RatioReporter();

    /// Declares the summary line "ratio <title>: <subject time / reference time>".
    /// subject and reference are benchmark names as registered. A goal above 0 is
    /// printed as "(goal <= goal)" and a ratio above it is flagged; 0 reports only.
    /// When both runs set bytes processed, their throughputs are printed as well.
    void AddRatio(std::string title, std::string subject, std::string reference, double goal);

    /// Declares the summary line "<title>: <value>" giving the user counter `counter`
    /// of the benchmark `run`; "not measured" when the run did not set it.
    void AddCount(std::string title, std::string run, std::string counter);

    void ReportRuns(const std::vector<Run>& runs) override;
    void Finalize() override;

private:
    struct Measurement {
        double seconds;  // CPU time (real time for UseRealTime runs) per iteration, fastest run
        std::map<std::string, double> counters;  // that run's user counters, finalised
    };
    struct RatioLine {
        std::string title;
        std::string subject;
        std::string reference;
        double goal;  // 0: no goal
    };
    struct CountLine {
        std::string title;
        std::string run;
        std::string counter;
    };

    std::map<std::string, Measurement> measurements_;  // benchmark name -> fastest run
    std::vector<RatioLine> ratios_;                    // in declaration order
    std::vector<CountLine> counts_;                    // in declaration order
};

#endif  // ZYNE_BENCH_RATIO_REPORTER_H
