#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

struct AVFrame;
struct SwsContext;

namespace Vorn::Vorncast::Decoders {

// Converts a decoded picture into the caller's buffer: three bytes a pixel, blue first, lines of
// `width` x 3 bytes packed top to bottom. The conversion writes straight into that buffer, so it
// is the one copy a picture takes on its way out of the engine.
class BgrPictureWriter {
public:
    BgrPictureWriter() = default;
    ~BgrPictureWriter();
    BgrPictureWriter(const BgrPictureWriter&) = delete;
    BgrPictureWriter& operator=(const BgrPictureWriter&) = delete;

    // A picture larger than `width` x `height` is cut to it; where it is smaller, the rest of the
    // output is black. With `lineDoubling` every line is written twice in a row and the output
    // holds 2 x `height` lines.
    bool Write(const AVFrame& picture, uint8_t* output, int32_t width, int32_t height, bool lineDoubling);
    // Frees the converter and the scratch picture; the next Write makes them again.
    void Release();

private:
    bool Convert(const AVFrame& picture, uint8_t* output, size_t step, int32_t copyWidth, int32_t copyHeight);

    SwsContext* converter = nullptr;
    // Narrow pictures are converted here first: the converter writes whole vector widths and would
    // run past the end of a caller's buffer that holds exactly the picture.
    std::vector<uint8_t> narrowScratch;
};

} // namespace Vorn::Vorncast::Decoders
