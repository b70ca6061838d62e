#include "formats/iso/DecodeISOMediaMp4.h"

namespace Vorn::Vorncast::Decoders {

namespace {

const DecodeISOMedia::CodecTexts Mp4Texts = {
    "DecodeISOMediaMp4::SetCodec Video codec mp4v\n",
    "DecodeISOMediaMp4::SetCodec Video codec h263\n",
    "DecodeISOMediaMp4::SetCodec Video codec h264\n",
    "DecodeISOMediaMp4::SetCodec Audio codec samr\n",
    "DecodeISOMediaMp4::SetCodec Audio codec mp4a\n",
    "DecodeISOMediaMp4::SetCodec Failed to initialise decompressor\n",
};

} // namespace

DecodeISOMediaMp4::DecodeISOMediaMp4(const DecoderRow& row) : DecodeISOMedia(row, new ISOMediaFile) {}

DecoderAction DecodeISOMediaMp4::SetCodec() {
    if (StartPhoneVideo(videoTrack, Mp4Texts) == DDA_FAILED) {
        return DDA_FAILED;
    }
    StartPhoneAudio(Mp4Texts);
    return DDA_COMPLETE;
}

} // namespace Vorn::Vorncast::Decoders
