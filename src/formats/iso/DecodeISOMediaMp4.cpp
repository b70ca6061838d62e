#include "formats/iso/DecodeISOMediaMp4.h"

#include "core/client/PlaceholderDecoder.h"

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr const char* PhoneExtensions = "3gp;mp4";

const DecodeISOMedia::CodecTexts Mp4Texts = {
    "DecodeISOMediaMp4::SetCodec Video codec mp4v\n",
    "DecodeISOMediaMp4::SetCodec Video codec h263\n",
    "DecodeISOMediaMp4::SetCodec Video codec h264\n",
    "DecodeISOMediaMp4::SetCodec Audio codec samr\n",
    "DecodeISOMediaMp4::SetCodec Audio codec mp4a\n",
    "DecodeISOMediaMp4::SetCodec Failed to initialise decompressor\n",
};

} // namespace

DecodeISOMediaMp4::DecodeISOMediaMp4() : DecodeISOMedia(new ISOMediaFile) {}

const char* DecodeISOMediaMp4::GetExtensions(int32_t* count) {
    if (count != nullptr) {
        *count = CountExtensions(PhoneExtensions);
    }
    return PhoneExtensions;
}

bool DecodeISOMediaMp4::IsExtension(const char* extension) {
    return ExtensionListHas(PhoneExtensions, extension);
}

DecoderAction DecodeISOMediaMp4::SetCodec() {
    if (StartPhoneVideo(videoTrack, Mp4Texts) == DDA_FAILED) {
        return DDA_FAILED;
    }
    StartPhoneAudio(Mp4Texts);
    return DDA_COMPLETE;
}

BaseDecoder* CreateDecodeISOMediaMp4(const DecoderRow&) {
    return new DecodeISOMediaMp4;
}

} // namespace Vorn::Vorncast::Decoders
