#include "formats/iso/Decode3gp.h"

#include "formats/iso/IsoBoxTypes.h"

namespace Vorn::Vorncast::Decoders {

namespace {

const DecodeISOMedia::CodecTexts ThreeGpTexts = {
    "Decode3gp::SetCodec Video codec mp4v\n",
    "Decode3gp::SetCodec Video codec h263\n",
    nullptr,
    "Decode3gp::SetCodec Audio codec samr\n",
    "Decode3gp::SetCodec Audio codec mp4a\n",
    "Decode3gp::SetCodec Failed to initialise decompressor\n",
};

} // namespace

Decode3gp::Decode3gp(const DecoderRow& row) : DecodeISOMedia(row, new ISOMediaFile) {}

DecoderAction Decode3gp::SetCodec() {
    const ISOMediaTrack* video = nullptr;
    for (int32_t index = 0; index < movie->GetTrackCount(); ++index) {
        if (movie->GetTrack(index)->GetMediaKind() == IsoBox::Vmhd) {
            video = movie->GetTrack(index);
        }
    }
    if (video == nullptr || StartPhoneVideo(video, ThreeGpTexts) == DDA_FAILED) {
        return DDA_FAILED;
    }
    if (StartPhoneAudio(ThreeGpTexts) == IsoBox::Mp4a) {
        totalAudioFrames = 0;
    }
    return DDA_COMPLETE;
}

} // namespace Vorn::Vorncast::Decoders
