#pragma once

#include "codecs/jpeg/JpegOutput.h"

#include <cstddef>
#include <cstdint>
#include <vector>

struct AVCodecContext;
struct AVFrame;
struct AVPacket;
struct SwsContext;

namespace Vorn::Vorncast::Decoders {

enum class LosslessOutcome { Written, Failed, WrongSize };

// Lossless (SOF3) JPEG through libavcodec's MJPEG decoder. Three components are red, green and
// blue, in that order, as the lossless writers store them; one component is grey.
class LosslessJpegEngine {
public:
    LosslessJpegEngine();
    ~LosslessJpegEngine();
    LosslessJpegEngine(const LosslessJpegEngine&) = delete;
    LosslessJpegEngine& operator=(const LosslessJpegEngine&) = delete;

    bool IsOpen() const { return context != nullptr; }

    // Decodes one picture, which must be `width` x `height`, and writes it with `channels` bytes a
    // pixel (1 grey, 3 blue first) into the lines of `layout`. Nothing is written unless it
    // succeeds. The picture's own layout is read from its frame header first.
    LosslessOutcome Decode(const uint8_t* bytes, size_t size, int32_t width, int32_t height, int32_t channels,
                           const JpegOutputLayout& layout);

private:
    bool Open();
    void Close();
    // libavcodec's MJPEG decoder carries state from one picture's frame header to the next, and a
    // grey picture after a colour one comes out blank: a change of layout gets a fresh decoder.
    bool PrepareFor(int32_t width, int32_t height, int32_t channels);
    bool DecodePacket(const uint8_t* bytes, size_t size);
    bool WriteLines(int32_t channels, const JpegOutputLayout& layout);
    bool Convert(int32_t outputFormat, const uint8_t** lines, int* lineStep);

    AVCodecContext* context = nullptr;
    AVPacket* packet = nullptr;
    AVFrame* frame = nullptr;
    SwsContext* scaler = nullptr;
    int32_t lastWidth = 0;
    int32_t lastHeight = 0;
    int32_t lastChannels = 0;
    // The packet with the zero padding that libavcodec reads past its end.
    std::vector<uint8_t> input;
    std::vector<uint8_t> converted;
};

} // namespace Vorn::Vorncast::Decoders
