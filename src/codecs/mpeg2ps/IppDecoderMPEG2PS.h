#pragma once

#include "codecs/audio/IppDecoderMP3Audio.h"
#include "codecs/video/IppDecoder.h"
#include "codecs/video/IppDecoderMPEG2.h"
#include "core/binary/ByteView.h"

#include <cstdint>
#include <vector>

namespace Vorn::Vorncast::Decoders {

// A frame stored as a small piece of MPEG-2 program stream: the elementary stream of the first
// video (or audio) stream is gathered from its packets and decoded by an inner MPEG-2 video (or
// MPEG audio) adapter. Junk in front of the first pack is skipped. Bytes without any packet of
// the stream go to the inner adapter as they are.
class IppDecoderMPEG2PS : public IppDecoder {
public:
    static constexpr uint8_t VideoStreamId = 0xE0;
    static constexpr uint8_t AudioStreamId = 0xC0;
    // Samples of one MPEG audio frame of 1152 stereo samples: what an audio output must hold,
    // and what a decoded frame is expected to give.
    static constexpr int32_t AudioFrameBytes = 1152 * 2 * 2;

    IppDecoderMPEG2PS();

    using IppDecoder::Initialise;
    bool Initialise(int32_t width, int32_t height, int32_t channels, bool lineDoubling, const uint8_t* config,
                    int32_t configSize) override;
    void Reset() override;
    using IppDecoder::Decode;
    bool Decode(const uint8_t* input, int32_t size, uint8_t* output, int32_t outputSize) override;
    bool DecodeSkippingPicture(const uint8_t* input, int32_t size) override;
    // The picture of the last DecodeSkippingPicture, kept to be written later (see
    // EngineVideoDecoder::KeepPicture).
    EngineVideoDecoder::KeptPicture KeepPicture() const { return video.KeepPicture(); }
    bool WritePicture(const EngineVideoDecoder::KeptPicture& picture, uint8_t* output, int32_t outputSize) {
        return video.WritePicture(picture, output, outputSize);
    }
    int32_t GetFrameType() const override { return video.GetFrameType(); }
    bool HasNewPicture() const override { return video.HasNewPicture(); }

    // Decodes the first audio stream's frame into interleaved 16-bit samples.
    bool DecodeAudio(const uint8_t* input, int32_t size, uint8_t* output, int32_t outputSize);
    // Bytes of samples the last DecodeAudio wrote.
    int32_t GetAudioBytes() const { return audio.GetDecodedBytes(); }

    // Picture size of the sequence header in the frame's video stream; planes is always 3.
    static bool ParseImageFormat(const uint8_t* bytes, int32_t size, int32_t* width, int32_t* height,
                                 int32_t* planes);

private:
    // The elementary stream of `streamId` in `frame`, or the frame itself when it holds none;
    // empty when the stream overflows.
    ByteView Extract(ByteView frame, uint8_t streamId, bool* ok);
    bool DecodeVideo(const uint8_t* input, int32_t size, uint8_t* output, int32_t outputSize);

    IppDecoderMPEG2 video;
    IppDecoderMP3Audio audio;
    std::vector<uint8_t> elementary;
};

} // namespace Vorn::Vorncast::Decoders
