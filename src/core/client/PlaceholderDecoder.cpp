#include "core/client/PlaceholderDecoder.h"

#include <cstring>

namespace Vorn::Vorncast::Decoders {

bool PlaceholderDecoder::GetImage(int32_t bufferSize, uint8_t* buffer) {
    if (buffer != nullptr && bufferSize > 0) {
        std::memset(buffer, 0, static_cast<size_t>(bufferSize));
    }
    return false;
}

DecoderAction PlaceholderDecoder::LoadingCore() {
    Log(LogCore, "%s::LoadingCore failed: no decoder for the format \"%s\" is built yet\n", Row().className,
        Row().name);
    return DDA_FAILED;
}

BaseDecoder* CreatePlaceholderDecoder(const DecoderRow& row) {
    return new PlaceholderDecoder(row);
}

} // namespace Vorn::Vorncast::Decoders
