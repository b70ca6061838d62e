#pragma once

#include <cstddef>
#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// How the compressed bytes of a JPEG 2000 frame are wrapped.
enum class Jpeg2000Format {
    Codestream, // a bare codestream: SOC, SIZ, ... EOC
    Jp2File,    // a JP2 file: signature box, file-type box, header box, codestream box
};

// What the header of a JPEG 2000 frame says about its picture.
struct Jpeg2000PictureInfo {
    int32_t width = 0;
    int32_t height = 0;
    int32_t components = 0;
    // Every picture of more than one component is decoded as colour (three bytes a pixel).
    bool colour = false;
};

inline constexpr const char* Jp2SignatureMissingText =
    "JPEG2000 Signature box was not found in begin of file stream.";
inline constexpr const char* Jp2FileTypeMissingText =
    "File Type box was not found after JPEG2000 Signature box.";
inline constexpr const char* Jpeg2000NotFoundText = "No JPEG2000 code stream was found in the data.";
inline constexpr const char* Jpeg2000OutputTooSmallText =
    "Output buffer is too small for the decoded picture.";
inline constexpr const char* Jpeg2000PictureSizeText = "Picture size is out of range.";

// Decodes JPEG 2000 frames (raw codestreams and JP2 files) into pictures of the library's
// layout: top row first, no padding between lines, three bytes a pixel in blue, green, red order
// for colour and one byte a pixel for a single-component picture. Components are scaled to 8 bits,
// subsampled components are upsampled, and YCbCr pictures are converted to RGB.
//
// An object keeps no picture state between frames; it holds only the text of its last failure,
// which is either one of the texts above or the codestream parser's own message.
class Jpeg2000Decoder {
public:
    Jpeg2000Decoder() = default;
    Jpeg2000Decoder(const Jpeg2000Decoder&) = delete;
    Jpeg2000Decoder& operator=(const Jpeg2000Decoder&) = delete;

    bool ReadHeader(Jpeg2000Format format, const uint8_t* data, size_t size, Jpeg2000PictureInfo* info);
    // Fails, writing nothing, when the picture needs more than `outputSize` bytes.
    bool Decode(Jpeg2000Format format, const uint8_t* data, size_t size, uint8_t* output, size_t outputSize,
                Jpeg2000PictureInfo* info = nullptr);

    // Finds the wrapping by itself: a JP2 signature or a codestream start at the front, or else
    // the first codestream start (SOC followed by SIZ) or JP2 signature box further in, so that
    // a recorder's own header in front of the picture is passed over.
    bool ReadHeaderAnyFormat(const uint8_t* data, size_t size, Jpeg2000PictureInfo* info);
    bool DecodeAnyFormat(const uint8_t* data, size_t size, uint8_t* output, size_t outputSize,
                         Jpeg2000PictureInfo* info = nullptr);

    // "" after a success.
    const char* FailureText() const { return failureText; }

    // Called by the codestream parser's message handler; keeps the first message of a call.
    void NoteParserError(const char* message);

private:
    bool Fail(const char* text);
    bool Run(Jpeg2000Format format, const uint8_t* data, size_t size, uint8_t* output, size_t outputSize,
             Jpeg2000PictureInfo* info);
    bool RunAnyFormat(const uint8_t* data, size_t size, uint8_t* output, size_t outputSize,
                      Jpeg2000PictureInfo* info);

    static constexpr size_t FailureTextCapacity = 256;
    char failureText[FailureTextCapacity] = {};
};

// One-call decode of a frame whose wrapping the caller knows. `outputSize` bounds what is written.
bool Jpeg2000Decode(bool isJp2File, uint32_t size, const uint8_t* data, uint8_t* output, uint32_t outputSize);

// One-call decode of a frame of either wrapping (see DecodeAnyFormat).
bool JasperDecode(const uint8_t* data, uint32_t size, uint8_t* output, uint32_t outputSize);

// Width, height and colour of a frame of either wrapping, without decoding its picture.
bool Jpeg2000ReadHeader(const uint8_t* data, uint32_t size, Jpeg2000PictureInfo* info);

} // namespace Vorn::Vorncast::Decoders
