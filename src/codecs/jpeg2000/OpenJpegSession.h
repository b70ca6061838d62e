#pragma once

#include "codecs/jpeg2000/Jpeg2000Decoder.h"
#include "core/binary/ByteView.h"

#include <openjpeg.h>

#include <memory>

namespace Vorn::Vorncast::Decoders {

// One decode of one frame through OpenJPEG, reading from memory. The parser's messages go to the
// owning decoder's failure text and never to the console.
class OpenJpegSession {
public:
    explicit OpenJpegSession(Jpeg2000Decoder* owner) : owner(owner) {}

    // Sets up the parser for the wrapping and reads the main header.
    bool ReadHeader(Jpeg2000Format format, ByteView data);
    // Decodes every tile of the picture whose header has been read.
    bool Decode();
    const opj_image_t* Image() const { return image.get(); }

private:
    struct Source {
        ByteView data;
        size_t position = 0;
    };
    struct CodecRelease {
        void operator()(opj_codec_t* codec) const { opj_destroy_codec(codec); }
    };
    struct StreamRelease {
        void operator()(opj_stream_t* stream) const { opj_stream_destroy(stream); }
    };
    struct ImageRelease {
        void operator()(opj_image_t* image) const { opj_image_destroy(image); }
    };

    bool CreateCodec(Jpeg2000Format format);
    bool CreateStream(ByteView data);

    static OPJ_SIZE_T Read(void* buffer, OPJ_SIZE_T count, void* user);
    static OPJ_OFF_T Skip(OPJ_OFF_T count, void* user);
    static OPJ_BOOL Seek(OPJ_OFF_T position, void* user);
    static void OnError(const char* message, void* user);
    static void OnIgnoredMessage(const char*, void*) {}

    Jpeg2000Decoder* owner;
    Source source;
    std::unique_ptr<opj_codec_t, CodecRelease> codec;
    std::unique_ptr<opj_stream_t, StreamRelease> stream;
    std::unique_ptr<opj_image_t, ImageRelease> image;
};

} // namespace Vorn::Vorncast::Decoders
