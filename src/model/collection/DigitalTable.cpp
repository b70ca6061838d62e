#include "model/collection/DigitalTable.h"

#include "core/client/MasDigitalCAPI.h"

#include <cstring>

namespace Vorn::Vorncast {

namespace Client = Decoders::MasDigitalCAPI;

int32_t DigitalTableCount() {
    return Client::GetDecoderCount();
}

bool DigitalTableDescribe(int32_t index, DigitalTableRow* row) {
    *row = {};
    int32_t nameLength = 0;
    int32_t extensionCount = 0;
    Client::DecoderDescriptionFlags flags{};
    bool found = Client::GetDecoderDescription(index, row->name, sizeof row->name, &nameLength,
                                               row->extensions, sizeof row->extensions, &extensionCount,
                                               &row->patternCount, &flags, row->guidText);
    row->container = flags.infoFlagC;
    return found;
}

const char* DigitalTablePattern(const Guid& guid, int32_t index) {
    uint32_t words[4];
    std::memcpy(words, &guid, sizeof words);
    return Client::GetPathPattern(words[0], words[1], words[2], words[3], index);
}

} // namespace Vorn::Vorncast
