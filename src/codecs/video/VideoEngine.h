#pragma once

#include "core/binary/ByteView.h"

#include <cstdint>

struct AVCodecContext;
struct AVFrame;
struct AVPacket;

namespace Vorn::Vorncast::Decoders {

enum class VideoCodec { Mpeg4, H263, H264, Mpeg2, Dv };

// What one step of the engine gave: a negative status is the engine's error code; otherwise
// `picture` says whether a decoded picture waits in Picture().
struct EngineStep {
    int32_t status = 0;
    bool picture = false;
};

// A libavcodec video decoder fed one access unit at a time, in decoding order. Damage that the
// decoder would conceal counts as an error here, so that a bad frame reports failure instead of
// delivering a patched picture.
class VideoEngine {
public:
    VideoEngine();
    ~VideoEngine();
    VideoEngine(const VideoEngine&) = delete;
    VideoEngine& operator=(const VideoEngine&) = delete;

    // `decodingOrderOutput` makes every access unit give its own picture at once, without the
    // reordering delay of streams that may hold B-frames.
    bool Open(VideoCodec codec, int32_t width, int32_t height, ByteView extradata, bool decodingOrderOutput);
    void Close();
    bool IsOpen() const { return context != nullptr; }

    // Room for `size` bytes of the next access unit, followed by the zero padding libavcodec
    // reads past the end; null when it cannot be had.
    uint8_t* InputBuffer(int32_t size);
    // Decodes the access unit placed in InputBuffer. An access unit that gives no picture is a
    // held-back frame while the engine's reordering delay accounts for it, else an error.
    EngineStep Decode();
    // The next held-back picture once the input has ended. When none is left, the engine is
    // reset and accepts input again.
    EngineStep Drain();
    void Reset();

    const AVFrame* Picture() const { return picture; }
    // The picture size the stream's headers have given so far; 0 before any.
    int32_t CodedWidth() const;
    int32_t CodedHeight() const;

private:
    // Receives every picture the decoder has ready; the last one stays in `picture`.
    int32_t ReceivePictures();
    bool PictureIsDamaged() const;

    AVCodecContext* context = nullptr;
    AVPacket* packet = nullptr;
    AVFrame* received = nullptr;
    AVFrame* picture = nullptr;
    int32_t heldBack = 0;
    bool draining = false;
};

// The picture size that the headers at the start of a stream give (an MPEG-4 video object layer, an
// H.264 sequence parameter set), for formats that store no size of their own. The unit need not be
// complete: what follows the headers is not decoded. False when no size shows.
bool ProbePictureSize(VideoCodec codec, ByteView firstUnit, int32_t* width, int32_t* height);

} // namespace Vorn::Vorncast::Decoders
