#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

// Keeps the processor time per iteration of each run beside the usual console output, so that a
// program can set two runs against each other: on a shared machine processor time varies less
// than the wall-clock time. With repetitions, the median stands for the run.
class CpuTimeRatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (!run.error_occurred && run.iterations > 0 &&
                (run.run_type == Run::RT_Iteration || run.aggregate_name == "median")) {
                secondsPerIteration[run.run_name.function_name] =
                    run.GetAdjustedCPUTime() / benchmark::GetTimeUnitMultiplier(run.time_unit);
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }

    // Prints "`what`: <measured / reference> (aim: at most `aim`)" when both runs took place.
    void PrintRatio(const char* measured, const char* reference, const char* what, double aim) const {
        auto top = secondsPerIteration.find(measured);
        auto bottom = secondsPerIteration.find(reference);
        if (top == secondsPerIteration.end() || bottom == secondsPerIteration.end() || bottom->second <= 0) {
            return;
        }
        std::printf("%s: %.3f (aim: at most %.2f)\n", what, top->second / bottom->second, aim);
    }

    // Prints "`what`: <microseconds> µs (aim: under `aim`)": how much longer each of `items` took in
    // `measured` than in `reference`.
    void PrintMicrosecondsAdded(const char* measured, const char* reference, int items, const char* what,
                                double aim) const {
        auto top = secondsPerIteration.find(measured);
        auto bottom = secondsPerIteration.find(reference);
        if (top == secondsPerIteration.end() || bottom == secondsPerIteration.end() || items <= 0) {
            return;
        }
        std::printf("%s: %.2f us (aim: under %.0f)\n", what, (top->second - bottom->second) * 1e6 / items,
                    aim);
    }

private:
    std::map<std::string, double> secondsPerIteration;
};

// Runs the registered benchmarks (as the command line selects them) through `reporter`; false
// when the command line holds arguments that are not the library's.
inline bool RunBenchmarks(int argc, char** argv, CpuTimeRatioReporter& reporter) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return false;
    }
    benchmark::RunSpecifiedBenchmarks(&reporter);
    return true;
}
