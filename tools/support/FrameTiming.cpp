#include "support/FrameTiming.h"

#include <algorithm>

namespace VorncastTool {

namespace {

constexpr int64_t Millisecond = 10000;

int64_t RoundToMillisecond(int64_t ticks) {
    return (ticks + Millisecond / 2) / Millisecond * Millisecond;
}

bool AllEqual(const std::vector<int64_t>& times) {
    return std::all_of(times.begin(), times.end(), [&](int64_t time) { return time == times.front(); });
}

int64_t MedianStep(const std::vector<int64_t>& ticks, int64_t fallback) {
    std::vector<int64_t> steps;
    for (size_t index = 1; index < ticks.size(); ++index) {
        steps.push_back(ticks[index] - ticks[index - 1]);
    }
    if (steps.empty()) {
        return fallback;
    }
    std::nth_element(steps.begin(), steps.begin() + static_cast<std::ptrdiff_t>(steps.size() / 2),
                     steps.end());
    return steps[steps.size() / 2];
}

} // namespace

FrameTiming PlanFrameTimes(const std::vector<int64_t>& streamTimes, int64_t nominalTicks) {
    FrameTiming timing;
    const int64_t nominal = std::max(Millisecond, RoundToMillisecond(nominalTicks));
    if (streamTimes.size() < 2 || AllEqual(streamTimes)) {
        timing.nominal = true;
        for (size_t index = 0; index < streamTimes.size(); ++index) {
            timing.ticks.push_back(static_cast<int64_t>(index) * nominal);
        }
        timing.frameTicks = nominal;
        return timing;
    }
    for (const int64_t time : streamTimes) {
        int64_t ticks = RoundToMillisecond(time - streamTimes.front());
        if (!timing.ticks.empty() && ticks <= timing.ticks.back()) {
            ticks = timing.ticks.back() + Millisecond;
            ++timing.adjusted;
        }
        timing.ticks.push_back(ticks);
    }
    timing.frameTicks = MedianStep(timing.ticks, nominal);
    return timing;
}

} // namespace VorncastTool
