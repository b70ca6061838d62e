#include "support/FrameSelection.h"

namespace VorncastTool {

std::vector<size_t> SelectFrames(const std::vector<int64_t>& recordedTimes, const FrameRange& range) {
    std::vector<size_t> selected;
    int64_t inRange = 0;
    for (size_t position = 0; position < recordedTimes.size(); ++position) {
        const int64_t time = recordedTimes[position];
        if ((range.from && time < *range.from) || (range.to && time > *range.to)) {
            continue;
        }
        if (inRange++ % range.every == 0) {
            selected.push_back(position);
        }
    }
    return selected;
}

std::vector<size_t> SpreadPositions(size_t count, size_t wanted) {
    std::vector<size_t> positions;
    if (count == 0 || wanted == 0) {
        return positions;
    }
    if (count <= wanted) {
        for (size_t position = 0; position < count; ++position) {
            positions.push_back(position);
        }
        return positions;
    }
    if (wanted == 1) {
        return {0};
    }
    for (size_t slot = 0; slot < wanted; ++slot) {
        positions.push_back(slot * (count - 1) / (wanted - 1));
    }
    return positions;
}

} // namespace VorncastTool
