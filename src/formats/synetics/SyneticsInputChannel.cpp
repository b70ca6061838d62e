#include "formats/synetics/SyneticsInputChannel.h"

#include "formats/shared/FrameListQueries.h"

#include <algorithm>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr uint8_t BPicture = 3;

// The picture coding type of the first picture header in a frame: the three bits behind the
// ten of the temporal reference. The header lies in the frame's first packet, ahead of any
// slice, so a scan of the stored bytes finds it; 0 when none is there.
uint8_t PictureCodingType(ByteView frame) {
    static constexpr uint8_t PictureStart[] = {0x00, 0x00, 0x01, 0x00};
    const uint8_t* end = frame.end();
    const uint8_t* found = std::search(frame.begin(), end, std::begin(PictureStart), std::end(PictureStart));
    if (end - found < 6) {
        return 0;
    }
    return static_cast<uint8_t>((found[5] >> 3) & 7);
}

} // namespace

bool SyneticsInputChannel::Initialise(ByteView firstFrame) {
    if (!IppDecoderMPEG2PS::ParseImageFormat(firstFrame.Data(), static_cast<int32_t>(firstFrame.Size()),
                                             &width, &height, &planes) ||
        !adapter.Initialise(width, height, planes, false)) {
        return false;
    }
    return true;
}

SyneticsInputChannel::Need SyneticsInputChannel::Begin(SyneticsFrameList& frames, int32_t frame) {
    target = frame;
    if (target == lastDecoded) {
        return Need::Picture;
    }
    if (target == lastReference) {
        lastDecoded = target;
        showingB = false;
        return Need::Picture;
    }
    if (DecodeHeldTarget()) {
        return Need::Picture;
    }
    nextToRead = WalkStart(frames, target);
    if (nextToRead < 0) {
        Forget();
        return Need::NoStart;
    }
    return Need::Frames;
}

// Back from the target over the camera's frames: the walk goes on behind the last frame it read,
// or starts afresh at an I frame, whichever comes first.
int32_t SyneticsInputChannel::WalkStart(SyneticsFrameList& frames, int32_t frame) {
    for (; frame >= 0; frame = PreviousFrameOfCamera(frames, frame, camera)) {
        if (frame == walked) {
            return NextFrameOfCamera(frames, walked, camera);
        }
        if (frames.GetAt(frame).fileKind == 0) {
            Forget();
            return frame;
        }
    }
    return -1;
}

SyneticsInputChannel::Step SyneticsInputChannel::Take(SyneticsFrameList& frames, ByteView bytes) {
    const int32_t frame = nextToRead;
    walked = frame;
    if (PictureCodingType(bytes) == BPicture) {
        heldAfterReference.push_back({frame, std::vector<uint8_t>(bytes.begin(), bytes.end())});
    } else {
        DecodeReference(bytes, frame);
        if (frame == target) {
            lastDecoded = target;
            showingB = false;
            return Step::Done;
        }
        if (DecodeHeldTarget()) {
            return Step::Done;
        }
    }
    nextToRead = NextFrameOfCamera(frames, frame, camera);
    if (nextToRead < 0) {
        Forget();
        return Step::Broken;
    }
    return Step::More;
}

void SyneticsInputChannel::DecodeReference(ByteView bytes, int32_t frame) {
    referencePicture = adapter.DecodeSkippingPicture(bytes.Data(), static_cast<int32_t>(bytes.Size()))
                           ? adapter.KeepPicture()
                           : nullptr;
    lastReference = frame;
    betweenReferences = std::move(heldAfterReference);
    heldAfterReference.clear();
}

bool SyneticsInputChannel::DecodeHeldTarget() {
    auto held = std::find_if(betweenReferences.begin(), betweenReferences.end(),
                             [this](const HeldFrame& h) { return h.frame == target; });
    if (held == betweenReferences.end()) {
        return false;
    }
    bPicture = adapter.DecodeSkippingPicture(held->bytes.data(), static_cast<int32_t>(held->bytes.size()))
                   ? adapter.KeepPicture()
                   : nullptr;
    lastDecoded = target;
    showingB = true;
    return true;
}

void SyneticsInputChannel::Forget() {
    adapter.Reset();
    heldAfterReference.clear();
    betweenReferences.clear();
    walked = -1;
    lastReference = -1;
    lastDecoded = -1;
    referencePicture = nullptr;
    bPicture = nullptr;
}

bool SyneticsInputChannel::GetImage(int32_t size, uint8_t* picture) {
    const EngineVideoDecoder::KeptPicture& shown = showingB ? bPicture : referencePicture;
    return lastDecoded >= 0 && shown != nullptr && adapter.WritePicture(shown, picture, size);
}

} // namespace Vorn::Vorncast::Decoders
