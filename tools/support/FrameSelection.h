#pragma once

// Which frames of a stream a command works on.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace VorncastTool {

struct FrameRange {
    std::optional<int64_t> from; // recorder time, inclusive
    std::optional<int64_t> to;   // recorder time, inclusive
    int64_t every = 1;           // every n-th frame of those in range, starting with the first
};

// Positions (into `recordedTimes`, a stream's frames in order) of the frames that `range` selects.
std::vector<size_t> SelectFrames(const std::vector<int64_t>& recordedTimes, const FrameRange& range);

// `wanted` positions spread evenly over `count` frames, first and last included; all of them when
// there are no more than `wanted`.
std::vector<size_t> SpreadPositions(size_t count, size_t wanted);

} // namespace VorncastTool
