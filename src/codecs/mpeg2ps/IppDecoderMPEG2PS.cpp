#include "codecs/mpeg2ps/IppDecoderMPEG2PS.h"

#include "codecs/mpeg2ps/ProgramStream.h"
#include "interface/LibraryFrame.h"

#include <string_view>

namespace Vorn::Vorncast::Decoders {

namespace {

using namespace std::string_view_literals;

constexpr auto PackStart = "\x00\x00\x01\xBA"sv;
constexpr auto PictureStart = "\x00\x00\x01\x00"sv;

bool PictureStartAt(ByteView bytes, size_t at) {
    return bytes.Matches(at, PictureStart);
}

bool AudioSyncAt(ByteView bytes, size_t at) {
    constexpr uint16_t SyncMask = 0xFFE0;
    uint16_t word = 0;
    return bytes.U16BE(at, &word) && (word & SyncMask) == SyncMask;
}

// The frame from its first pack on; the whole frame when it holds no pack. Marks that
// `isMark` finds in the bytes skipped are counted, and the second and later logged with
// `format`.
ByteView SkipToFirstPack(ByteView frame, bool (*isMark)(ByteView, size_t), const char* format) {
    if (frame.Matches(0, PackStart)) {
        return frame;
    }
    int32_t marks = 0;
    for (size_t at = 0; at + PackStart.size() < frame.Size(); ++at) {
        if (frame.Matches(at, PackStart)) {
            return frame.From(at);
        }
        if (isMark(frame, at) && ++marks >= 2) {
            Log(__FILE__, __LINE__, LogTrace, format, marks);
        }
    }
    return frame;
}

} // namespace

IppDecoderMPEG2PS::IppDecoderMPEG2PS() = default;

bool IppDecoderMPEG2PS::Initialise(int32_t width, int32_t height, int32_t channels, bool lineDoubling,
                                   const uint8_t* config, int32_t configSize) {
    this->width = width;
    this->height = height;
    this->channels = channels;
    this->lineDoubling = lineDoubling;
    audio.Initialise();
    initialised = video.Initialise(width, height, channels, lineDoubling, config, configSize);
    return initialised;
}

void IppDecoderMPEG2PS::Reset() {
    video.Reset();
}

ByteView IppDecoderMPEG2PS::Extract(ByteView frame, uint8_t streamId, bool* ok) {
    if (elementary.size() < frame.Size()) {
        elementary.resize(frame.Size());
    }
    int32_t length = 0;
    *ok = GetStream(frame.Data(), streamId, static_cast<int32_t>(frame.Size()), elementary.data(),
                    static_cast<int32_t>(frame.Size()), &length, nullptr);
    return length > 0 ? ByteView(elementary.data(), static_cast<size_t>(length)) : ByteView();
}

bool IppDecoderMPEG2PS::Decode(const uint8_t* input, int32_t size, uint8_t* output, int32_t outputSize) {
    if (output == nullptr || outputSize < PictureBytes()) {
        Log(__FILE__, __LINE__, LogCore, "IppDecoderMPEG2PS::Decode output buffer too small\n");
        return false;
    }
    return DecodeVideo(input, size, output, outputSize);
}

bool IppDecoderMPEG2PS::DecodeSkippingPicture(const uint8_t* input, int32_t size) {
    return DecodeVideo(input, size, nullptr, 0);
}

// Without an output the inner adapter decodes and keeps the picture in its engine.
bool IppDecoderMPEG2PS::DecodeVideo(const uint8_t* input, int32_t size, uint8_t* output, int32_t outputSize) {
    const ByteView frame(input, size > 0 ? static_cast<size_t>(size) : 0);
    bool ok = false;
    ByteView stream =
        Extract(SkipToFirstPack(frame, PictureStartAt, "Found pic header %d\n"), VideoStreamId, &ok);
    if (!ok) {
        return false;
    }
    const uint8_t* data = stream.Empty() ? input : stream.Data();
    const int32_t length = stream.Empty() ? size : static_cast<int32_t>(stream.Size());
    const bool decoded = output != nullptr ? video.Decode(data, length, output, outputSize)
                                           : video.DecodeSkippingPicture(data, length);
    if (decoded && (width <= 0 || height <= 0)) {
        width = video.GetWidth();
        height = video.GetHeight();
        initialised = video.IsInitialised();
    }
    return decoded;
}

bool IppDecoderMPEG2PS::DecodeAudio(const uint8_t* input, int32_t size, uint8_t* output, int32_t outputSize) {
    if (output == nullptr || outputSize < AudioFrameBytes) {
        Log(__FILE__, __LINE__, LogCore, "IppDecoderMPEG2PS::Decode audio output buffer too small\n");
        return false;
    }
    const ByteView frame(input, size > 0 ? static_cast<size_t>(size) : 0);
    bool ok = false;
    ByteView stream =
        Extract(SkipToFirstPack(frame, AudioSyncAt, "Found mp3 header %d\n"), AudioStreamId, &ok);
    if (!ok) {
        return false;
    }
    const bool decoded =
        stream.Empty() ? audio.Decode(input, size, output, outputSize)
                       : audio.Decode(stream.Data(), static_cast<int32_t>(stream.Size()), output, outputSize);
    if (decoded && audio.GetDecodedBytes() != AudioFrameBytes) {
        Log(__FILE__, __LINE__, LogEvent, "Audio frame formed without correct size: %d\n",
            audio.GetDecodedBytes());
    }
    return decoded;
}

bool IppDecoderMPEG2PS::ParseImageFormat(const uint8_t* bytes, int32_t size, int32_t* width, int32_t* height,
                                         int32_t* planes) {
    const ByteView frame(bytes, size > 0 ? static_cast<size_t>(size) : 0);
    const ByteView packs = SkipToFirstPack(
        frame, [](ByteView, size_t) { return false; }, "");
    std::vector<uint8_t> stream(packs.Size());
    int32_t length = 0;
    GetStream(packs.Data(), VideoStreamId, static_cast<int32_t>(packs.Size()), stream.data(),
              static_cast<int32_t>(stream.size()), &length, nullptr);
    if (length > 0) {
        return IppDecoderMPEG2::ParseImageFormat(stream.data(), length, width, height, planes);
    }
    return IppDecoderMPEG2::ParseImageFormat(bytes, size, width, height, planes);
}

} // namespace Vorn::Vorncast::Decoders
