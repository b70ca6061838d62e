// Fuzz target for the JPEG helpers: the header reader, both decodes into a buffer, and bare scan
// data behind the standard header template, as recorders store it.
//
// Options: bit 0 the first unit is scan data for the template; bit 1 a buffer with the line
// padding counted; bits 2-3 the template's picture size; bit 4 4:2:0 rather than 4:2:2 in the
// template; bit 5 a second template in one DHT segment.
#include "FuzzUnits.h"
#include "codecs/jpeg/JpegCodec.h"
#include "codecs/jpeg/JpegHeaderTemplate.h"

#include <vector>

using namespace Vorn::Vorncast::Decoders;
using namespace Vorn::Fuzzing;

namespace {

constexpr int32_t TemplateSizes[4][2] = {{16, 8}, {64, 48}, {176, 144}, {8, 8}};

int64_t BufferBytes(int32_t width, int32_t height, int32_t channels, bool padded) {
    int64_t line = static_cast<int64_t>(width) * channels;
    if (padded) {
        line = (line + 3) / 4 * 4;
    }
    return line * height;
}

void DecodeOne(JpegDecoderScratch& scratch, const Unit& jpeg, bool padded) {
    int32_t width = 0, height = 0, channels = 0;
    if (!JpegReadHeader(jpeg.data(), SizeOf(jpeg), &width, &height, &channels)) {
        return;
    }
    std::vector<uint8_t> buffer = PictureOutput(BufferBytes(width, height, channels, padded), false);
    const int32_t bufferSize = static_cast<int32_t>(buffer.size());
    JpegDecodeToBuffer(scratch, jpeg.data(), SizeOf(jpeg), buffer.data(), bufferSize);
    int32_t consumed = -1;
    if (JpegDecodeToBufferWithSize(jpeg.data(), SizeOf(jpeg), buffer.data(), bufferSize, &consumed) &&
        (consumed <= 0 || consumed > SizeOf(jpeg))) {
        __builtin_trap();
    }
}

Unit BehindTemplate(const UnitInput& input, const Unit& scan) {
    const int32_t* size = TemplateSizes[input.Choice(2)];
    Unit frame(StandardJpegHeader::Size);
    StandardJpegHeader::Write(frame.data(), size[0], size[1], input.Option(4) ? 0x22 : 0x21);
    frame.insert(frame.end(), scan.begin(), scan.end());
    return frame;
}

// The same template written piece by piece into a buffer that the scan's length cuts short.
void WriteTemplate(const UnitInput& input, const Unit& scan) {
    std::vector<uint8_t> out(scan.size() % 700);
    JpegHeaderWriter writer(out.data(), static_cast<int32_t>(out.size()));
    writer.StartOfImage();
    writer.Jfif();
    writer.FrameHeader(176, 144, 3, 0x21);
    writer.StandardHuffmanTables(input.Option(5));
    writer.RestartInterval(static_cast<uint16_t>(scan.size()));
    writer.ScanHeader(3);
    writer.EndOfImage();
    if (writer.Length() > static_cast<int32_t>(out.size())) {
        __builtin_trap();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static JpegDecoderScratch scratch;
    const UnitInput input = SplitUnits(data, size);
    for (const Unit& unit : input.units) {
        if (input.Option(0)) {
            Unit frame = BehindTemplate(input, unit);
            DecodeOne(scratch, frame, input.Option(1));
            PatchJpegFrameSize(frame.data(), SizeOf(frame), 64, 48);
            DecodeOne(scratch, frame, input.Option(1));
            StandardJpegHeader::SetQuality(frame.data(), unit.empty() ? 0 : unit.front());
            DecodeOne(scratch, frame, input.Option(1));
            WriteTemplate(input, unit);
        } else {
            DecodeOne(scratch, unit, input.Option(1));
            Unit copy = unit;
            PatchJpegFrameSize(copy.data(), SizeOf(copy), 32, 16);
        }
    }
    return 0;
}
