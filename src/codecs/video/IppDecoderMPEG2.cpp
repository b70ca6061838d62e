#include "codecs/video/IppDecoderMPEG2.h"

#include "interface/LibraryFrame.h"

#include <string_view>

namespace Vorn::Vorncast::Decoders {

namespace {

using namespace std::string_view_literals;

constexpr auto SequenceHeaderCode = "\x00\x00\x01\xB3"sv;

} // namespace

bool IppDecoderMPEG2::ParseImageFormat(const uint8_t* bytes, int32_t size, int32_t* width, int32_t* height,
                                       int32_t* planes) {
    ByteView view(bytes, size > 0 ? static_cast<size_t>(size) : 0);
    size_t at = view.Find(SequenceHeaderCode);
    uint32_t sizeBits = 0;
    // horizontal_size_value (12 bits) and vertical_size_value (12 bits) follow the start code.
    if (at == ByteView::npos || !view.U32BE(at + SequenceHeaderCode.size(), &sizeBits)) {
        return false;
    }
    const int32_t parsedWidth = static_cast<int32_t>(sizeBits >> 20);
    const int32_t parsedHeight = static_cast<int32_t>((sizeBits >> 8) & 0xFFF);
    if (parsedWidth == 0 || parsedHeight == 0) {
        return false;
    }
    *width = parsedWidth;
    *height = parsedHeight;
    *planes = 3;
    return true;
}

bool IppDecoderMPEG2::Initialise(int32_t width, int32_t height, int32_t channels, bool lineDoubling,
                                 const uint8_t* config, int32_t configSize) {
    int32_t configWidth = 0;
    int32_t configHeight = 0;
    int32_t planes = 0;
    ParseImageFormat(config, configSize, &configWidth, &configHeight, &planes);
    this->width = width > 0 ? width : configWidth;
    this->height = height > 0 ? height : configHeight;
    this->channels = channels;
    this->lineDoubling = lineDoubling;
    sizeFromCaller = this->width > 0 && this->height > 0;
    initialised = OpenEngine(ByteView(config, configSize > 0 ? static_cast<size_t>(configSize) : 0));
    return initialised;
}

bool IppDecoderMPEG2::Decode(const uint8_t* input, int32_t size, uint8_t* output, int32_t outputSize) {
    if (!engine.IsOpen()) {
        OpenEngine(ByteView());
    }
    return EngineVideoDecoder::Decode(input, size, output, outputSize);
}

void IppDecoderMPEG2::LogEngineFailure(int32_t) const {
    Log(__FILE__, __LINE__, LogCore, "MPEG2VideoDecoder::GetFrame failed\n");
}

void IppDecoderMPEG2::AdoptPictureSize(int32_t pictureWidth, int32_t pictureHeight) {
    if (!sizeFromCaller) {
        width = pictureWidth;
        height = pictureHeight;
    }
    channels = 3;
    initialised = true;
}

} // namespace Vorn::Vorncast::Decoders
