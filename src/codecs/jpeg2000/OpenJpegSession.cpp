#include "codecs/jpeg2000/OpenJpegSession.h"

#include <algorithm>
#include <cstring>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr OPJ_SIZE_T StreamChunkSize = 64 * 1024;
constexpr OPJ_SIZE_T EndOfStream = static_cast<OPJ_SIZE_T>(-1);

} // namespace

bool OpenJpegSession::ReadHeader(Jpeg2000Format format, ByteView data) {
    if (!CreateCodec(format) || !CreateStream(data)) {
        return false;
    }
    opj_image_t* header = nullptr;
    bool ok = opj_read_header(stream.get(), codec.get(), &header) != OPJ_FALSE;
    image.reset(header);
    return ok && image != nullptr;
}

bool OpenJpegSession::Decode() {
    return opj_decode(codec.get(), stream.get(), image.get()) != OPJ_FALSE &&
           opj_end_decompress(codec.get(), stream.get()) != OPJ_FALSE;
}

bool OpenJpegSession::CreateCodec(Jpeg2000Format format) {
    codec.reset(opj_create_decompress(format == Jpeg2000Format::Jp2File ? OPJ_CODEC_JP2 : OPJ_CODEC_J2K));
    if (codec == nullptr) {
        return false;
    }
    opj_set_error_handler(codec.get(), OnError, owner);
    opj_set_warning_handler(codec.get(), OnIgnoredMessage, nullptr);
    opj_set_info_handler(codec.get(), OnIgnoredMessage, nullptr);
    opj_dparameters_t parameters;
    opj_set_default_decoder_parameters(&parameters);
    if (opj_setup_decoder(codec.get(), &parameters) == OPJ_FALSE) {
        return false;
    }
    // A codestream cut short is a failed frame, not a partly decoded one.
    return opj_decoder_set_strict_mode(codec.get(), OPJ_TRUE) != OPJ_FALSE;
}

bool OpenJpegSession::CreateStream(ByteView data) {
    source = Source{data, 0};
    stream.reset(opj_stream_create(StreamChunkSize, OPJ_TRUE));
    if (stream == nullptr) {
        return false;
    }
    opj_stream_set_user_data(stream.get(), &source, nullptr);
    opj_stream_set_user_data_length(stream.get(), data.Size());
    opj_stream_set_read_function(stream.get(), Read);
    opj_stream_set_skip_function(stream.get(), Skip);
    opj_stream_set_seek_function(stream.get(), Seek);
    return true;
}

OPJ_SIZE_T OpenJpegSession::Read(void* buffer, OPJ_SIZE_T count, void* user) {
    auto* source = static_cast<Source*>(user);
    size_t left = source->data.Size() - source->position;
    if (left == 0) {
        return EndOfStream;
    }
    size_t taken = std::min<size_t>(count, left);
    std::memcpy(buffer, source->data.Data() + source->position, taken);
    source->position += taken;
    return taken;
}

OPJ_OFF_T OpenJpegSession::Skip(OPJ_OFF_T count, void* user) {
    auto* source = static_cast<Source*>(user);
    if (count < 0) {
        size_t back = std::min<size_t>(static_cast<size_t>(-count), source->position);
        source->position -= back;
        return -static_cast<OPJ_OFF_T>(back);
    }
    size_t forward = std::min<size_t>(static_cast<size_t>(count), source->data.Size() - source->position);
    source->position += forward;
    return static_cast<OPJ_OFF_T>(forward);
}

OPJ_BOOL OpenJpegSession::Seek(OPJ_OFF_T position, void* user) {
    auto* source = static_cast<Source*>(user);
    if (position < 0 || static_cast<uint64_t>(position) > source->data.Size()) {
        return OPJ_FALSE;
    }
    source->position = static_cast<size_t>(position);
    return OPJ_TRUE;
}

void OpenJpegSession::OnError(const char* message, void* user) {
    static_cast<Jpeg2000Decoder*>(user)->NoteParserError(message);
}

} // namespace Vorn::Vorncast::Decoders
