// Fuzz target for the block-update JPEG decoder: a header with the tables, then frames of blocks
// applied one after the other to the picture the decoder keeps, and the picture read out.
//
// Options: bits 0-1 bytes in front of the header's SOI; bit 2 a bitmap of present blocks behind
// each frame; bit 3 the bitmap at a distance from the frame; bit 4 the frame's size one short.
#include "FuzzUnits.h"
#include "codecs/jpeg/BlockJpegDecoder.h"
#include "core/binary/ByteView.h"

#include <vector>

using namespace Vorn::Vorncast::Decoders;
using namespace Vorn::Fuzzing;

namespace {

constexpr int32_t HeaderSkips[4] = {0, 1, 4, 100};
// Where a frame's head keeps its size: SOF0 marker, length, precision, then height and width.
constexpr size_t HeadHeightOffset = 5;
constexpr size_t HeadWidthOffset = 7;

void ApplyFrame(BlockJpegDecoder& decoder, const UnitInput& input, const Unit& frame) {
    ByteView view(frame.data(), frame.size());
    int32_t width = decoder.Width() > 0 ? decoder.Width() : view.U16BE(HeadWidthOffset);
    int32_t height = decoder.Height() > 0 ? decoder.Height() : view.U16BE(HeadHeightOffset);
    int32_t bitmapBytes =
        (width / BlockJpegDecoder::BlockWidth * (height / BlockJpegDecoder::BlockHeight) + 7) / 8;
    int32_t gap = input.Option(3) ? 3 : 0;
    int32_t size = SizeOf(frame);
    if (input.Option(2)) {
        size -= bitmapBytes + gap;
    }
    if (input.Option(4)) {
        --size;
    }
    decoder.ApplyBlocks(width, height, size, gap, input.Option(2), frame.data(), SizeOf(frame));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const UnitInput input = SplitUnits(data, size);
    BlockJpegDecoder decoder;
    const Unit& header = input.units.front();
    decoder.ParseHeader(header.data(), SizeOf(header), HeaderSkips[input.Choice(0)]);
    for (size_t index = 1; index < input.units.size(); ++index) {
        ApplyFrame(decoder, input, input.units[index]);
    }
    int64_t bytes = static_cast<int64_t>(decoder.Width()) * decoder.Height() * 3;
    if (bytes > 0 && bytes <= MaxPictureBytes) {
        std::vector<uint8_t> picture(static_cast<size_t>(bytes));
        decoder.GetImage(picture.data(), static_cast<int32_t>(picture.size()));
    }
    return 0;
}
