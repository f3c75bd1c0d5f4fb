#ifndef KORVA_BENCH_RATIO_REPORTER_H
#define KORVA_BENCH_RATIO_REPORTER_H

// A console report that keeps each benchmark's median real time, so that a
// benchmark program can print its ratios against their targets at the end.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <unistd.h>

namespace korvabench {

// The console report, keeping each benchmark's median real time for the
// ratios at the end.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    // Colour only on a terminal, so that a saved report stays plain text.
    // With cpuTime the kept times are CPU times, otherwise real times.
    explicit RatioReporter(bool cpuTime = false)
        : ConsoleReporter(isatty(STDOUT_FILENO) ? OO_ColorTabular : OO_Tabular), cpuTime(cpuTime) {}
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.error_occurred) continue;
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median")
                medians[run.run_name.function_name] = timeOf(run);
            else if (run.run_type == Run::RT_Iteration)
                single[run.run_name.function_name].push_back(timeOf(run));
        }
        ConsoleReporter::ReportRuns(runs);
    }
    // Median time of a benchmark, or NaN when it did not run.
    double time(const std::string& name) const {
        const auto m = medians.find(name);
        if (m != medians.end()) return m->second;
        const auto s = single.find(name);
        if (s == single.end() || s->second.empty()) return std::nan("");
        std::vector<double> times = s->second;
        std::sort(times.begin(), times.end());
        return times[times.size() / 2];
    }

private:
    double timeOf(const Run& run) const { return cpuTime ? run.GetAdjustedCPUTime() : run.GetAdjustedRealTime(); }

    bool cpuTime;
    std::map<std::string, double> medians;
    std::map<std::string, std::vector<double>> single;
};

// Initialises the library with the repetitions of all benchmarks in random
// order unless the caller says otherwise, so that other load on a shared
// machine falls on both sides of a ratio alike. False on unknown arguments.
inline bool initialize(int argc, char** argv) {
    static std::vector<char*> args;
    static char interleave[] = "--benchmark_enable_random_interleaving=true";
    args.assign(argv, argv + argc);
    args.insert(args.begin() + 1, interleave);
    int count = int(args.size());
    benchmark::Initialize(&count, args.data());
    return !benchmark::ReportUnrecognizedArguments(count, args.data());
}

inline void printRatio(const char* what, double value, double target, bool atLeast) {
    if (std::isnan(value)) {
        std::printf("%-56s not measured\n", what);
        return;
    }
    const bool met = atLeast ? value >= target : value <= target;
    std::printf("%-56s %6.3f  (target %s %.2f: %s)\n", what, value, atLeast ? ">=" : "<=", target,
                met ? "met" : "MISSED");
}

} // namespace korvabench

#endif
