#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Vorn::Vorncast {

// The video manager of a DVD-Video folder, VIDEO_TS.IFO: which title sets its titles play.
class VideoTS {
public:
    // Reads the manager's header and its title table; GeneralFailure with the reason otherwise.
    int Load(const char* url);

    int32_t TitleSetCount() const { return static_cast<int32_t>(titleSets.size()); }
    // The distinct title set numbers, in the order the title table first names them.
    int32_t TitleSet(int32_t index) const { return titleSets[static_cast<size_t>(index)]; }

private:
    std::vector<int32_t> titleSets;
};

} // namespace Vorn::Vorncast
