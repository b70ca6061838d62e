#pragma once

// Presentation times of pictures in a video file, from the stream times of their frames.

#include <cstdint>
#include <vector>

namespace VorncastTool {

struct FrameTiming {
    std::vector<int64_t> ticks; // per frame, from the first frame, whole milliseconds, increasing
    int64_t frameTicks = 0;     // the usual time between frames: the last frame's duration
    bool nominal = false;       // the frames carry no usable times: spaced at the nominal rate
    int64_t adjusted = 0;       // frames moved by a millisecond or more to keep times increasing
};

// Times relative to the first frame. When the stream times do not advance at all (recordings that
// hold no clock) the frames are spaced by `nominalTicks`; a frame whose time does not advance past
// its predecessor's is placed one millisecond after it.
FrameTiming PlanFrameTimes(const std::vector<int64_t>& streamTimes, int64_t nominalTicks);

} // namespace VorncastTool
