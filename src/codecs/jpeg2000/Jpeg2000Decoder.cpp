#include "codecs/jpeg2000/Jpeg2000Decoder.h"

#include "codecs/jpeg2000/Jp2Boxes.h"
#include "codecs/jpeg2000/Jpeg2000Picture.h"
#include "codecs/jpeg2000/OpenJpegSession.h"

#include <cstdio>
#include <cstring>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr const char* ParserFailedText = "JPEG2000 code stream could not be decoded.";

// The parser's messages end in a line feed; the failure text does not.
void CopyMessage(char* out, size_t capacity, const char* message) {
    std::snprintf(out, capacity, "%s", message);
    size_t length = std::strlen(out);
    while (length > 0 && (out[length - 1] == '\n' || out[length - 1] == '\r')) {
        out[--length] = '\0';
    }
}

} // namespace

bool Jpeg2000Decoder::ReadHeader(Jpeg2000Format format, const uint8_t* data, size_t size,
                                 Jpeg2000PictureInfo* info) {
    return Run(format, data, size, nullptr, 0, info);
}

bool Jpeg2000Decoder::Decode(Jpeg2000Format format, const uint8_t* data, size_t size, uint8_t* output,
                             size_t outputSize, Jpeg2000PictureInfo* info) {
    if (output == nullptr) {
        return Fail(Jpeg2000OutputTooSmallText);
    }
    return Run(format, data, size, output, outputSize, info);
}

bool Jpeg2000Decoder::ReadHeaderAnyFormat(const uint8_t* data, size_t size, Jpeg2000PictureInfo* info) {
    return RunAnyFormat(data, size, nullptr, 0, info);
}

bool Jpeg2000Decoder::DecodeAnyFormat(const uint8_t* data, size_t size, uint8_t* output, size_t outputSize,
                                      Jpeg2000PictureInfo* info) {
    if (output == nullptr) {
        return Fail(Jpeg2000OutputTooSmallText);
    }
    return RunAnyFormat(data, size, output, outputSize, info);
}

void Jpeg2000Decoder::NoteParserError(const char* message) {
    if (failureText[0] == '\0' && message != nullptr) {
        CopyMessage(failureText, sizeof failureText, message);
    }
}

bool Jpeg2000Decoder::Fail(const char* text) {
    if (failureText[0] == '\0') {
        CopyMessage(failureText, sizeof failureText, text);
    }
    return false;
}

bool Jpeg2000Decoder::RunAnyFormat(const uint8_t* data, size_t size, uint8_t* output, size_t outputSize,
                                   Jpeg2000PictureInfo* info) {
    failureText[0] = '\0';
    ByteView view(data, size);
    Jpeg2000Format format;
    size_t start = 0;
    if (!LocateJpeg2000(view, &format, &start)) {
        return Fail(Jpeg2000NotFoundText);
    }
    ByteView picture = view.From(start);
    return Run(format, picture.Data(), picture.Size(), output, outputSize, info);
}

// Reads the header and, with an output buffer, decodes the picture into it.
bool Jpeg2000Decoder::Run(Jpeg2000Format format, const uint8_t* data, size_t size, uint8_t* output,
                          size_t outputSize, Jpeg2000PictureInfo* info) {
    failureText[0] = '\0';
    ByteView view(data, size);
    if (format == Jpeg2000Format::Jp2File) {
        Jp2Layout layout = CheckJp2Layout(view);
        if (layout == Jp2Layout::NoSignature) {
            return Fail(Jp2SignatureMissingText);
        }
        if (layout == Jp2Layout::NoFileType) {
            return Fail(Jp2FileTypeMissingText);
        }
    }
    OpenJpegSession session(this);
    Jpeg2000PictureInfo described;
    if (!session.ReadHeader(format, view)) {
        return Fail(ParserFailedText);
    }
    if (!DescribePicture(*session.Image(), &described)) {
        return Fail(Jpeg2000PictureSizeText);
    }
    if (info != nullptr) {
        *info = described;
    }
    if (output == nullptr) {
        return true;
    }
    if (PictureBytes(described) > outputSize) {
        return Fail(Jpeg2000OutputTooSmallText);
    }
    if (!session.Decode() || !WritePicture(*session.Image(), described, output)) {
        return Fail(ParserFailedText);
    }
    return true;
}

bool Jpeg2000Decode(bool isJp2File, uint32_t size, const uint8_t* data, uint8_t* output,
                    uint32_t outputSize) {
    Jpeg2000Decoder decoder;
    return decoder.Decode(isJp2File ? Jpeg2000Format::Jp2File : Jpeg2000Format::Codestream, data, size,
                          output, outputSize);
}

bool JasperDecode(const uint8_t* data, uint32_t size, uint8_t* output, uint32_t outputSize) {
    Jpeg2000Decoder decoder;
    return decoder.DecodeAnyFormat(data, size, output, outputSize);
}

bool Jpeg2000ReadHeader(const uint8_t* data, uint32_t size, Jpeg2000PictureInfo* info) {
    Jpeg2000Decoder decoder;
    return decoder.ReadHeaderAnyFormat(data, size, info);
}

} // namespace Vorn::Vorncast::Decoders
