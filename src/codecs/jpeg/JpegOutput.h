#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace Vorn::Vorncast::Decoders {

// Bytes from the start of one output line to the next: the line's pixels rounded up to four bytes.
inline size_t JpegLineStep(int32_t width, int32_t channels) {
    return (static_cast<size_t>(channels) * static_cast<size_t>(width) + 3) & ~static_cast<size_t>(3);
}

// The caller's picture buffer seen as lines of `rowBytes` on a `lineStep` grid. The size check of the
// decoders counts pixels only, not the padding between lines, so the last lines of a padded picture
// may not fit: those are cut at the buffer's end rather than written past it.
class JpegOutputLayout {
public:
    JpegOutputLayout(uint8_t* buffer, size_t bufferSize, size_t lineStep, size_t rowBytes)
        : buffer(buffer), bufferSize(bufferSize), lineStep(lineStep), rowBytes(rowBytes) {}

    size_t LineStep() const { return lineStep; }
    size_t RowBytes() const { return rowBytes; }

    // Number of lines, from the top, that lie wholly inside the buffer.
    size_t RowsThatFit() const {
        if (bufferSize < rowBytes) {
            return 0;
        }
        return (bufferSize - rowBytes) / lineStep + 1;
    }

    uint8_t* Row(size_t line) const { return buffer + line * lineStep; }

    // Copies the part of a decoded line that fits into the buffer.
    void WritePartialRow(size_t line, const uint8_t* row) const {
        size_t start = line * lineStep;
        if (start < bufferSize) {
            std::memcpy(buffer + start, row, std::min(rowBytes, bufferSize - start));
        }
    }

private:
    uint8_t* buffer;
    size_t bufferSize;
    size_t lineStep;
    size_t rowBytes;
};

// Turns a line of decoded four-channel pixels into the blue-first premultiplied form: the first
// and third bytes change places and each colour byte is scaled by the fourth.
inline void PremultiplyFourChannelRow(uint8_t* row, size_t pixels) {
    for (size_t i = 0; i < pixels; ++i, row += 4) {
        unsigned alpha = row[3];
        uint8_t first = row[0];
        row[0] = static_cast<uint8_t>((row[2] * alpha + 1) >> 8);
        row[1] = static_cast<uint8_t>((row[1] * alpha + 1) >> 8);
        row[2] = static_cast<uint8_t>((first * alpha + 1) >> 8);
    }
}

} // namespace Vorn::Vorncast::Decoders
