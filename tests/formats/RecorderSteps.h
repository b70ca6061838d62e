#pragma once

// A stream stepped over all its frames forward and then back again, each frame checked each way.

#include "formats/RecorderChecks.h"

#include <algorithm>
#include <vector>

namespace FormatTests {

class SteppedRecorderTest : public RecorderTest {
protected:
    // Walks `stream` forward over its `count` frames and, when `back`, back from the last to the
    // first, handing each to `check` with its index; returns the forward walk, whose stream times
    // seeks can use.
    std::vector<Delivered> StepThrough(int stream, size_t count, const FrameCheck& check, bool back = true) {
        const std::vector<Delivered> walked = WalkForward(stream);
        EXPECT_EQ(walked.size(), count);
        for (size_t index = 0; index < std::min(walked.size(), count); ++index) {
            SCOPED_TRACE(testing::Message() << "frame " << index);
            check(walked[index], index);
        }
        for (size_t index = back ? count : 0; index-- > 0;) {
            SCOPED_TRACE(testing::Message() << "back to frame " << index);
            check(Previous(stream), index);
        }
        return walked;
    }
};

} // namespace FormatTests
