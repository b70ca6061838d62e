#pragma once

#include "codecs/mpeg2ps/IppDecoderMPEG2PS.h"
#include "core/binary/ByteView.h"
#include "core/framelists/TimeList.h"

#include <cstdint>
#include <vector>

namespace Vorn::Vorncast::Decoders {

// A frame of a Synetics recording: the standard head, the file of its pair that holds it and the
// pair's number.
struct SyneticsFrameItem : FrameInfo {
    uint8_t fileKind; // 0 the I frame file, 1 the P and B file
    int32_t pair;
};
class SyneticsFrameList : public BaseFrameInfoList<SyneticsFrameItem> {};

// The decoding state of one camera. The list holds a camera's frames in time order, which is the
// order of display, while an MPEG-2 B frame can only be decoded once the reference behind it has
// been. The channel therefore walks the frames in list order and decodes them in decoding order:
// a B frame is held until the next I or P frame has been decoded, and the B frames between the
// last two references stay at hand, so that stepping among them either way costs one decode.
class SyneticsInputChannel {
public:
    explicit SyneticsInputChannel(uint16_t camera) : camera(camera) {}

    // The picture size from the sequence header of the camera's first frame; false when there is
    // none or the adapter refuses the size.
    bool Initialise(ByteView firstFrame);
    int32_t Width() const { return width; }
    int32_t Height() const { return height; }
    uint16_t Camera() const { return camera; }

    // What the fetch of a frame needs: nothing more (its picture is at hand), the frames of a walk
    // from NextToRead() on, or nothing at all since no frame to start from precedes it.
    enum class Need { Picture, Frames, NoStart };
    Need Begin(SyneticsFrameList& frames, int32_t target);
    int32_t NextToRead() const { return nextToRead; }

    // Takes the bytes of frame NextToRead(). Done: the target's picture is decoded; More: read the
    // new NextToRead(); Broken: the camera has no further frame, and the walk is forgotten.
    enum class Step { Done, More, Broken };
    Step Take(SyneticsFrameList& frames, ByteView bytes);
    // After a failed read: the engine's state no longer matches the walk.
    void Forget();

    // Writes the picture of the fetched frame; false when it has none or its decode failed.
    bool GetImage(int32_t size, uint8_t* picture);

    // The files of the pair open for this camera's walk: the I frame file and the P and B file.
    int32_t fileIds[2] = {-1, -1};
    int32_t openPair = -1;

private:
    struct HeldFrame {
        int32_t frame;
        std::vector<uint8_t> bytes;
    };

    int32_t WalkStart(SyneticsFrameList& frames, int32_t target);
    void DecodeReference(ByteView bytes, int32_t frame);
    // Decodes the target when it is one of the B frames at hand.
    bool DecodeHeldTarget();

    const uint16_t camera;
    IppDecoderMPEG2PS adapter;
    int32_t width = 0;
    int32_t height = 0;
    int32_t planes = 0;
    // The pictures of the last reference and the last B frame decoded, shared with the engine and
    // converted only when shown; null when their decode failed.
    EngineVideoDecoder::KeptPicture referencePicture;
    EngineVideoDecoder::KeptPicture bPicture;
    int32_t lastReference = -1;
    bool showingB = false;

    int32_t target = -1;
    int32_t lastDecoded = -1;
    int32_t walked = -1;
    int32_t nextToRead = -1;
    std::vector<HeldFrame> heldAfterReference;
    std::vector<HeldFrame> betweenReferences;
};

} // namespace Vorn::Vorncast::Decoders
