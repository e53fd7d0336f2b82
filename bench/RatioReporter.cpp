// RatioReporter.cpp - collecting the fastest run of each benchmark and printing the
// summary block.
#include "RatioReporter.h"

#include <cstdio>
#include <ostream>
#include <utility>

#include <unistd.h>

namespace {

// A time per operation with a unit that keeps three significant digits readable.
std::string FormatTime(double seconds) {
    char text[32];
    if (seconds < 1e-6) {
        std::snprintf(text, sizeof text, "%.3g ns", seconds * 1e9);
    } else if (seconds < 1e-3) {
        std::snprintf(text, sizeof text, "%.3g us", seconds * 1e6);
    } else {
        std::snprintf(text, sizeof text, "%.3g ms", seconds * 1e3);
    }
    return text;
}

}  // namespace

RatioReporter::RatioReporter()
    : ConsoleReporter(isatty(STDOUT_FILENO) ? OO_ColorTabular : OO_Tabular) {}

void RatioReporter::AddRatio(std::string title, std::string subject, std::string reference,
                             double goal) {
    ratios_.push_back({std::move(title), std::move(subject), std::move(reference), goal});
}

void RatioReporter::AddCount(std::string title, std::string run, std::string counter) {
    counts_.push_back({std::move(title), std::move(run), std::move(counter)});
}

void RatioReporter::ReportRuns(const std::vector<Run>& runs) {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
        if (run.run_type != Run::RT_Iteration || run.error_occurred || run.iterations <= 0) {
            continue;
        }
        // CPU time, not real time: every benchmark here runs on one thread, and on a
        // shared machine real time also counts the spells another process had the core.
        // Except for benchmarks registered with UseRealTime (their name carries a time
        // type): those wait for child processes, whose work this thread's CPU time misses.
        const double seconds =
            run.run_name.time_type.empty() ? run.cpu_accumulated_time : run.real_accumulated_time;
        Measurement measured{seconds / static_cast<double>(run.iterations), {}};
        for (const auto& [name, counter] : run.counters) measured.counters[name] = counter.value;
        // The name as registered plus its arguments ("DataFileWrite/65536"), without the
        // repetition and timing suffixes, so that repetitions of one benchmark meet.
        std::string name = run.run_name.function_name;
        if (!run.run_name.args.empty()) name += "/" + run.run_name.args;
        auto [entry, added] = measurements_.try_emplace(std::move(name), measured);
        if (!added && measured.seconds < entry->second.seconds) entry->second = std::move(measured);
    }
}

void RatioReporter::Finalize() {
    ConsoleReporter::Finalize();
    std::ostream& out = GetOutputStream();
    out << "\n---- summary: CPU-time ratios subject/reference (lower is better; real time for "
           "real_time runs), counts ----\n";
    char line[320];
    for (const RatioLine& ratio : ratios_) {
        const auto subject = measurements_.find(ratio.subject);
        const auto reference = measurements_.find(ratio.reference);
        if (subject == measurements_.end() || reference == measurements_.end() ||
            reference->second.seconds <= 0.0) {
            continue;
        }
        const double value = subject->second.seconds / reference->second.seconds;
        std::string detail =
            FormatTime(subject->second.seconds) + " vs " + FormatTime(reference->second.seconds);
        const auto subjectRate = subject->second.counters.find("bytes_per_second");
        const auto referenceRate = reference->second.counters.find("bytes_per_second");
        if (subjectRate != subject->second.counters.end() &&
            referenceRate != reference->second.counters.end()) {
            char rates[96];
            std::snprintf(rates, sizeof rates, "; %.0f MB/s vs %.0f MB/s",
                          subjectRate->second / 1e6, referenceRate->second / 1e6);
            detail += rates;
        }
        if (ratio.goal > 0.0) {
            std::snprintf(line, sizeof line, "ratio %s: %.2f (goal <= %.1f)%s  [%s]\n",
                          ratio.title.c_str(), value, ratio.goal,
                          value <= ratio.goal ? "" : " MISSED", detail.c_str());
        } else {
            std::snprintf(line, sizeof line, "ratio %s: %.2f (no goal)  [%s]\n",
                          ratio.title.c_str(), value, detail.c_str());
        }
        out << line;
    }
    for (const CountLine& count : counts_) {
        const auto run = measurements_.find(count.run);
        if (run == measurements_.end()) continue;
        const auto counter = run->second.counters.find(count.counter);
        if (counter == run->second.counters.end()) {
            std::snprintf(line, sizeof line, "%s: not measured\n", count.title.c_str());
        } else {
            std::snprintf(line, sizeof line, "%s: %.4g\n", count.title.c_str(), counter->second);
        }
        out << line;
    }
}
