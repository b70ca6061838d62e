#pragma once

#include "model/support/Buffer.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// Picture types that GetFrameType reports for the picture last delivered.
enum VideoFrameType : int32_t {
    VideoFrameNone = -1,
    VideoFrameI = 0,
    VideoFrameP = 1,
    VideoFrameB = 2,
    VideoFrameOther = 3,
};

// The uniform decompressor through which a format decoder turns one compressed video frame into
// a picture: `width` x `height` pixels of three bytes, blue first, top line first, lines packed
// without padding. With `lineDoubling` each decoded line is written twice, so that a recorder's
// single field fills a frame of twice the height; the caller sizes the buffer for that.
class IppDecoder {
public:
    IppDecoder() = default;
    IppDecoder(const IppDecoder&) = delete;
    IppDecoder& operator=(const IppDecoder&) = delete;
    virtual ~IppDecoder() = default;

    // `config` holds the codec's configuration bytes where a container keeps them apart from the
    // frames (an MPEG-4 VOL header, an H.264 avcC record or parameter sets, an MPEG-2 sequence
    // header); it may be null.
    virtual bool Initialise(int32_t width, int32_t height, int32_t channels, bool lineDoubling,
                            const uint8_t* config, int32_t configSize) = 0;
    // Drops decoder state (reference pictures, held-back frames) between non-consecutive frames.
    virtual void Reset() = 0;
    // Frees what the decoder holds (the engine, its pictures and buffers); a later Initialise
    // starts it again.
    virtual void Release() { initialised = false; }
    // Decodes from the arrays of the two buffers (their whole size; a buffer without data gives a
    // null pointer and size 0). The buffers are taken by value, so the reference each holds is
    // dropped on return, whatever the result. The offsets are part of the call's shape only: a
    // caller positions its data by the buffer itself. 1 on success, 0 on failure.
    virtual int32_t Decode(Buffer input, int32_t inputOffset, Buffer output, int32_t outputOffset);
    // Decodes one access unit, given in decoding order. True when the frame was accepted; a frame
    // that the engine holds back for reordering leaves `output` as it was (see HasNewPicture).
    virtual bool Decode(const uint8_t* input, int32_t size, uint8_t* output, int32_t outputSize) = 0;
    // Decodes a frame whose picture nobody looks at, as the frames a walk passes on its way to
    // another: the decoder's state moves on, and no picture is made. True when the frame was taken.
    virtual bool DecodeSkippingPicture(const uint8_t* input, int32_t size);
    // The type of the picture the last Decode wrote, VideoFrameNone when it wrote none.
    virtual int32_t GetFrameType() const { return VideoFrameNone; }
    // True when the last Decode wrote a picture into its output.
    virtual bool HasNewPicture() const { return false; }

    bool Initialise(int32_t width, int32_t height, int32_t channels, bool lineDoubling) {
        return Initialise(width, height, channels, lineDoubling, nullptr, 0);
    }

    int32_t GetWidth() const { return width; }
    int32_t GetHeight() const { return height; }
    int32_t GetChannels() const { return channels; }
    bool GetLineDoubling() const { return lineDoubling; }
    bool IsInitialised() const { return initialised; }

protected:
    // Bytes a picture of the present size takes, as the output check counts them: the doubled
    // lines of `lineDoubling` are not counted.
    int64_t PictureBytes() const { return static_cast<int64_t>(height) * width * 3; }

    int32_t height = 0;
    int32_t width = 0;
    int32_t channels = 3;
    bool lineDoubling = false;
    bool initialised = false;
};

} // namespace Vorn::Vorncast::Decoders
