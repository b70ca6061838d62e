#include "codecs/jpeg2000/Jp2Boxes.h"

#include <algorithm>
#include <string_view>

namespace Vorn::Vorncast::Decoders {

namespace {

using namespace std::string_view_literals;

constexpr std::string_view SignatureBox = "\x00\x00\x00\x0C"
                                          "jP  "
                                          "\x0D\x0A\x87\x0A"sv;
constexpr std::string_view CodestreamStart = "\xFF\x4F\xFF\x51"sv; // SOC, SIZ
constexpr size_t SignatureBoxSize = 12;
constexpr size_t BoxTypeOffset = 4;
constexpr size_t BoxHeaderSize = 8;

} // namespace

bool StartsWithCodestream(ByteView data) {
    return data.Matches(0, CodestreamStart);
}

bool StartsWithJp2Signature(ByteView data) {
    return data.Matches(0, SignatureBox);
}

Jp2Layout CheckJp2Layout(ByteView data) {
    if (!StartsWithJp2Signature(data)) {
        return Jp2Layout::NoSignature;
    }
    ByteView fileType = data.From(SignatureBoxSize);
    if (!fileType.Has(0, BoxHeaderSize) || !fileType.Matches(BoxTypeOffset, "ftyp")) {
        return Jp2Layout::NoFileType;
    }
    return Jp2Layout::Valid;
}

bool LocateJpeg2000(ByteView data, Jpeg2000Format* format, size_t* start) {
    if (StartsWithJp2Signature(data)) {
        *format = Jpeg2000Format::Jp2File;
        *start = 0;
        return true;
    }
    size_t codestream = data.Find(CodestreamStart);
    size_t file = data.Find(SignatureBox);
    if (codestream == ByteView::npos && file == ByteView::npos) {
        return false;
    }
    // A JP2 file holds its codestream inside, so the earlier of the two is the picture's start.
    *start = std::min(codestream, file);
    *format = *start == file ? Jpeg2000Format::Jp2File : Jpeg2000Format::Codestream;
    return true;
}

} // namespace Vorn::Vorncast::Decoders
