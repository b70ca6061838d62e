#pragma once

#include "model/files/File.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Vorn::Vorncast {

// The control file of one title set, VTS_nn_0.IFO: its first program chain and the VOBU address
// map, the start sector of every VOBU of the set's title VOBs.
class IFOFile {
public:
    // `url` names a VOB of the set (or the IFO file itself); the control file is found from it.
    // A video manager file found in its place is passed over: Success with no VOBUs.
    int Load(const char* url);

    bool Skipped() const { return skipped; }
    int32_t CellCount() const { return cellCount; }
    int32_t VobuCount() const { return static_cast<int32_t>(vobuSectors.size()); }
    uint32_t VobuSector(int32_t index) const { return vobuSectors[static_cast<size_t>(index)]; }

private:
    int ReadProgramChain(File& file, const std::vector<uint8_t>& header);
    int ReadAddressMap(File& file, const std::vector<uint8_t>& header);

    bool skipped = false;
    int32_t cellCount = 0;
    std::vector<uint32_t> vobuSectors;
};

} // namespace Vorn::Vorncast
