#pragma once

#include "interface/LibraryFrame.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace CodecTest {

// A picture of three bytes a pixel, blue first, top line first, lines packed.
struct Picture {
    int32_t width = 0;
    int32_t height = 0;
    std::vector<uint8_t> bgr;

    size_t Bytes() const { return bgr.size(); }
};

// Colour bars over the top half and a diagonal gradient over the bottom half; both move with
// `frame`, so that neighbouring frames differ and motion prediction has work to do.
Picture MakeTestPicture(int32_t width, int32_t height, int32_t frame);

struct EncodedFrame {
    std::vector<uint8_t> data;
    bool key = false;
    int64_t pts = 0;
};

struct VideoSettings {
    std::string encoder;
    int32_t width = 176;
    int32_t height = 144;
    int32_t frames = 6;
    int32_t bFrames = 0;
    int32_t gop = 12;
    AVPixelFormat pixelFormat = AV_PIX_FMT_YUV420P;
    AVRational frameRate{25, 1};
    // The configuration goes into `extradata` instead of the first frame.
    bool globalHeader = false;
    // Encoder-private options, such as {"crf", "18"}.
    std::vector<std::pair<std::string, std::string>> options;
};

struct EncodedVideo {
    std::vector<EncodedFrame> frames; // in decoding order
    std::vector<uint8_t> extradata;
    std::vector<Picture> sources; // indexed by pts
};

// False when the encoder is not there (or refuses the settings).
bool HasEncoder(const char* name);
bool EncodeVideo(const VideoSettings& settings, EncodedVideo* out);

// libavcodec's own decode of the frames, converted to blue-first pictures as the adapters do, in
// the order the decoder gives them out (held-back frames flushed at the end).
std::vector<Picture> ReferenceDecode(AVCodecID codec, const EncodedVideo& video, bool decodingOrderOutput);

// Peak signal-to-noise ratio in dB of two byte arrays of the same size; 99 for equal arrays.
double Psnr(const uint8_t* a, const uint8_t* b, size_t count);
double Psnr(const Picture& a, const uint8_t* b);

struct EncodedAudio {
    std::vector<EncodedFrame> frames;
    std::vector<uint8_t> extradata;
    int32_t sampleRate = 0;
    int32_t channels = 0;
    int32_t frameSamples = 0;
};

// A tone of a different pitch in each channel.
bool EncodeAudio(const char* encoder, int32_t sampleRate, int32_t channels, int32_t frames,
                 EncodedAudio* out);

// libavcodec's own decode of the frames, each as interleaved 16-bit samples.
std::vector<std::vector<int16_t>> ReferenceDecodeAudio(AVCodecID codec, const EncodedAudio& audio);

// Gathers what the library logs while it lives; the previous callback comes back at its end.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    const std::vector<std::string>& Messages() const;
    bool Contains(const std::string& message) const;
    // True when some message begins with `prefix`.
    bool ContainsPrefix(const std::string& prefix) const;
    void Clear();

private:
    VcLogCallback previous;
};

} // namespace CodecTest
