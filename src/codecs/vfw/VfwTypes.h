#pragma once

#include "core/binary/ByteView.h"
#include "core/binary/FourCC.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// The code as text, ending at its first NUL byte.
struct FourCCText {
    explicit FourCCText(uint32_t fourCC);
    const char* Text() const { return text; }
    char text[5];
};

bool FourCCEqualIgnoringCase(uint32_t a, uint32_t b);

// Driver messages of a video decompressor.
enum VfwMessage : uint32_t {
    ICM_DECOMPRESS_GET_FORMAT = 16394,
    ICM_DECOMPRESS_BEGIN = 16396,
    ICM_DECOMPRESS = 16397,
    ICM_DECOMPRESS_END = 16398,
};

// Results of the driver messages.
enum VfwResult : int32_t {
    ICERR_OK = 0,
    ICERR_DONTDRAW = 1,
    ICERR_NEWPALETTE = 2,
    ICERR_GOTOKEYFRAME = 3,
    ICERR_STOPDRAWING = 4,
    ICERR_UNSUPPORTED = -1,
    ICERR_BADFORMAT = -2,
    ICERR_MEMORY = -3,
    ICERR_INTERNAL = -4,
    ICERR_BADFLAGS = -5,
    ICERR_BADPARAM = -6,
    ICERR_BADSIZE = -7,
    ICERR_BADHANDLE = -8,
    ICERR_CANTUPDATE = -9,
    ICERR_ABORT = -10,
    ICERR_ERROR = -100,
    ICERR_BADBITDEPTH = -200,
    ICERR_BADIMAGESIZE = -201,
};

// The name of a listed result ("ICERR_BADFORMAT"), or null for any other value.
const char* VfwResultName(int32_t result);
// Whether a driver's answer lets the work go on. ICERR_DONTDRAW is good only as the answer to
// ICM_DECOMPRESS, where it means the frame gave no new picture.
bool VfwResultIsGood(int32_t result, VfwMessage message);

constexpr uint32_t BitmapInfoHeaderSize = 40;
constexpr uint32_t BI_RGB = 0;

// The 40-byte BITMAPINFOHEADER that describes a video stream's pictures.
struct BitmapInfoHeader {
    uint32_t size = 0;
    int32_t width = 0;
    int32_t height = 0; // positive: rows stored bottom-up
    uint16_t planes = 0;
    uint16_t bitCount = 0;
    uint32_t compression = 0;
    uint32_t sizeImage = 0;
    int32_t xPelsPerMeter = 0;
    int32_t yPelsPerMeter = 0;
    uint32_t clrUsed = 0;
    uint32_t clrImportant = 0;

    // Fields beyond the view read as 0.
    static BitmapInfoHeader Read(ByteView bytes);
    // Writes all 40 bytes.
    void Write(uint8_t* bytes) const;
};

constexpr size_t BitmapCompressionOffset = 16;
constexpr size_t BitmapSizeImageOffset = 20;

constexpr uint32_t ICMODE_DECOMPRESS = 2;

// The parameter of a driver open.
struct IcOpen {
    uint32_t size = 36;
    uint32_t fccType = FourCCLE("vidc");
    uint32_t fccHandler = 0;
    uint32_t version = 0;
    uint32_t flags = ICMODE_DECOMPRESS;
    int32_t error = 0;
    const void* reserved1 = nullptr;
    const void* reserved2 = nullptr;
    uint32_t devNode = 0;
};

// The parameter of ICM_DECOMPRESS: one compressed frame in, one picture out. `inputFormat`
// carries the frame's byte count in its biSizeImage field.
struct IcDecompress {
    uint32_t flags = 0;
    const uint8_t* inputFormat = nullptr;
    const uint8_t* input = nullptr;
    const uint8_t* outputFormat = nullptr;
    uint8_t* output = nullptr;
    uint32_t frame = 0;
};

} // namespace Vorn::Vorncast::Decoders
