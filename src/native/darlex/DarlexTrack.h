#pragma once

#include "model/decoder/Track.h"
#include "native/darlex/DarlexBlocks.h"

#include <set>
#include <string>
#include <vector>

namespace Vorn::Vorncast {

// One track directory of a Darlex image: its stretch of the image and a stream for each camera
// recorded in it.
class DarlexTrack : public Track {
public:
    // `number` counts from 1; `start` and `end` are the track's bounds in the image.
    int Load(int32_t number, const DarlexDirectory& directory, int64_t start, int64_t end,
             const std::set<int32_t>& channels, const std::vector<std::string>& paths);
};

} // namespace Vorn::Vorncast
