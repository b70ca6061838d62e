#include "hardening/CodecRecording.h"

#include "codecs/adv601/ADV601Decoder.h"
#include "codecs/jpeg/JpegCodec.h"
#include "codecs/jpeg/LosslessJpegCodec.h"
#include "codecs/jpeg2000/Jpeg2000Decoder.h"
#include "codecs/mpeg2ps/IppDecoderMPEG2PS.h"
#include "codecs/video/IppDecoderH263.h"
#include "codecs/video/IppDecoderH264.h"
#include "codecs/video/IppDecoderMPEG4.h"
#include "model/decoder/ModelTypes.h"

#include <strings.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace Hardening {

namespace {

constexpr int64_t FirstFrameTime = 632800000000000000;
constexpr int64_t FramePeriod = 400000;
constexpr uint32_t FrameHeadBytes = 4;

template <class T> void Put(std::string* bytes, T value) {
    bytes->append(reinterpret_cast<const char*>(&value), sizeof value);
}

bool IsKnownCodec(uint16_t codec) {
    return codec >= static_cast<uint16_t>(RecordedCodec::Jpeg) &&
           codec <= static_cast<uint16_t>(RecordedCodec::H263);
}

} // namespace

std::string CodecRecording::Bytes() const {
    std::string bytes = "VCR1";
    Put<uint16_t>(&bytes, static_cast<uint16_t>(codec));
    Put<uint16_t>(&bytes, static_cast<uint16_t>(width));
    Put<uint16_t>(&bytes, static_cast<uint16_t>(height));
    Put<uint16_t>(&bytes, 0);
    Put<uint32_t>(&bytes, static_cast<uint32_t>(frames.size()));
    Put<uint32_t>(&bytes, static_cast<uint32_t>(config.size()));
    Put<uint32_t>(&bytes, 0);
    bytes.append(config.begin(), config.end());
    for (const std::vector<uint8_t>& frame : frames) {
        Put<uint32_t>(&bytes, static_cast<uint32_t>(frame.size()));
        bytes.append(frame.begin(), frame.end());
    }
    return bytes;
}

std::vector<uint64_t> CodecRecording::FrameStarts() const {
    std::vector<uint64_t> starts;
    uint64_t at = CodecRecordingHeaderBytes + config.size();
    for (const std::vector<uint8_t>& frame : frames) {
        starts.push_back(at);
        at += FrameHeadBytes + frame.size();
    }
    return starts;
}

// ---- the codecs, set up at the end of a load ----

class CodecRecordingDecoder::Codecs {
public:
    Codecs(RecordedCodec codec, int32_t width, int32_t height, const std::vector<uint8_t>& config)
        : codec(codec), width(width), height(height) {
        video = MakeVideoDecoder(codec);
        if (video != nullptr) {
            video->Initialise(width, height, 3, false, config.empty() ? nullptr : config.data(),
                              static_cast<int32_t>(config.size()));
        }
        if (codec == RecordedCodec::LosslessJpeg) {
            lossless = Vorn::Lorikan::MakeDecoder();
            Vorn::Lorikan::SetFrameFormat(lossless, width, height, 3);
        }
    }
    ~Codecs() { Vorn::Lorikan::FreeDecoder(lossless); }

    void Reset() {
        if (video != nullptr) {
            video->Reset();
        }
    }

    // `frame` may be changed in place, as the ADV601 codec turns reversed words round.
    bool Decode(std::vector<uint8_t>& frame, uint32_t size, uint8_t* picture, int32_t pictureSize) {
        const auto bytes = static_cast<int32_t>(size);
        switch (codec) {
        case RecordedCodec::Jpeg:
            return JpegDecodeToBuffer(scratch, frame.data(), bytes, picture, pictureSize);
        case RecordedCodec::Adv601:
            return pictureSize >= ADV601Decoder::OutputSize(true) &&
                   adv601.Decode(true, false, frame.data(), bytes, picture);
        case RecordedCodec::LosslessJpeg:
            return pictureSize >= width * height * 3 &&
                   Vorn::Lorikan::DecodeFrame(lossless, frame.data(), bytes, picture,
                                              Vorn::Lorikan::LosslessJpegBlueFirst) >= 0;
        case RecordedCodec::Jpeg2000:
            return JasperDecode(frame.data(), size, picture, static_cast<uint32_t>(pictureSize));
        default:
            return video != nullptr && video->Decode(frame.data(), bytes, picture, pictureSize);
        }
    }

private:
    static std::unique_ptr<IppDecoder> MakeVideoDecoder(RecordedCodec codec) {
        switch (codec) {
        case RecordedCodec::Mpeg4:
            return std::make_unique<IppDecoderMPEG4>();
        case RecordedCodec::H264:
            return std::make_unique<IppDecoderH264>();
        case RecordedCodec::Mpeg2ProgramStream:
            return std::make_unique<IppDecoderMPEG2PS>();
        case RecordedCodec::H263:
            return std::make_unique<IppDecoderH263>();
        default:
            return nullptr;
        }
    }

    RecordedCodec codec;
    int32_t width;
    int32_t height;
    JpegDecoderScratch scratch;
    ADV601Decoder adv601;
    Vorn::Lorikan::LosslessJpegDecoder* lossless = nullptr;
    std::unique_ptr<IppDecoder> video;
};

CodecRecordingDecoder::CodecRecordingDecoder() = default;
CodecRecordingDecoder::~CodecRecordingDecoder() = default;

bool CodecRecordingDecoder::IsExtension(const char* extension) {
    return strcasecmp(extension, "vcr") == 0;
}

void CodecRecordingDecoder::Reset() {
    entries.clear();
    config.clear();
    readBuffer.clear();
    codecs.reset();
    pictureReady = false;
    lastDecoded = -2;
}

// ---- loading ----

void CodecRecordingDecoder::LoadingGetOpenName(char* name) {
    std::snprintf(name, MaxPathLength, "%s", loadName);
}

DecoderAction CodecRecordingDecoder::LoadingOpenComplete(int32_t fileId, uint64_t size) {
    Reset();
    if (fileId == -1 || size < CodecRecordingHeaderBytes) {
        Log(0, "CodecRecordingDecoder::LoadingOpenComplete failed with bad fileId or fileSize\n");
        return DecoderFailure();
    }
    file = fileId;
    fileSize = size;
    loadStep = LoadStep::Header;
    return Read(file, 0, CodecRecordingHeaderBytes);
}

DecoderAction CodecRecordingDecoder::LoadingReadComplete(int32_t, bool ok) {
    if (!ok) {
        Log(0, "CodecRecordingDecoder::LoadingReadComplete failed with bad result\n");
        return DecoderFailure();
    }
    switch (loadStep) {
    case LoadStep::Header:
        return ReadHeader();
    case LoadStep::Config:
        return ReadConfig();
    default:
        return ReadFrameHead();
    }
}

DecoderAction CodecRecordingDecoder::ReadHeader() {
    const ByteView header = ReadBytes();
    const uint16_t codecValue = header.U16LE(4);
    const int32_t width = header.U16LE(6);
    const int32_t height = header.U16LE(8);
    const uint32_t configSize = header.U32LE(16);
    if (!header.Matches(0, "VCR1") || !IsKnownCodec(codecValue) || width == 0 || height == 0 ||
        int64_t{width} * height * 3 > Vorn::Vorncast::MaxPictureBytes ||
        configSize > fileSize - CodecRecordingHeaderBytes) {
        Log(0, "CodecRecordingDecoder::LoadingReadComplete failed with bad header\n");
        return DecoderFailure();
    }
    codec = static_cast<RecordedCodec>(codecValue);
    framesAnnounced = header.U32LE(12);
    SetImageFormat(width, height, 4, 3, true, 0);
    nextHead = CodecRecordingHeaderBytes + configSize;
    if (configSize > 0) {
        loadStep = LoadStep::Config;
        return Read(file, CodecRecordingHeaderBytes, configSize);
    }
    return NextFrameHead();
}

DecoderAction CodecRecordingDecoder::ReadConfig() {
    config.assign(readBuffer.begin(), readBuffer.begin() + readSize);
    return NextFrameHead();
}

// The index ends at the announced count or where the file ends: a frame cut short is left out.
DecoderAction CodecRecordingDecoder::NextFrameHead() {
    ReportProgress(fileSize > 0 ? static_cast<double>(nextHead) / static_cast<double>(fileSize) : 1.0);
    if (entries.size() >= framesAnnounced || nextHead + FrameHeadBytes > fileSize) {
        return FinishLoad();
    }
    loadStep = LoadStep::FrameHead;
    return Read(file, nextHead, FrameHeadBytes);
}

DecoderAction CodecRecordingDecoder::ReadFrameHead() {
    const uint32_t size = ReadBytes().U32LE(0);
    const uint64_t start = nextHead + FrameHeadBytes;
    if (size > fileSize - start) {
        return FinishLoad();
    }
    if (stallOnEmptyFrame && size == 0) {
        return NextFrameHead();
    }
    entries.push_back({start, size});
    nextHead = start + size;
    return NextFrameHead();
}

DecoderAction CodecRecordingDecoder::FinishLoad() {
    if (entries.empty()) {
        Log(0, "CodecRecordingDecoder::LoadingReadComplete failed with no frames\n");
        return DecoderFailure();
    }
    SetImageFormat(imageWidth, imageHeight, 4, 3, true, static_cast<int32_t>(entries.size()));
    SetTimeSpan(FirstFrameTime, FirstFrameTime + FramePeriod * static_cast<int64_t>(entries.size() - 1));
    codecs = std::make_unique<Codecs>(codec, imageWidth, imageHeight, config);
    lastDecoded = -2;
    return DDA_COMPLETE;
}

// ---- frames ----

bool CodecRecordingDecoder::FrameIsValid(int32_t frame) const {
    return frame >= 0 && static_cast<size_t>(frame) < entries.size();
}

FrameTimes CodecRecordingDecoder::GetFrameTimes() {
    FrameTimes times{};
    if (FrameIsValid(currentFrame)) {
        times.recordedTime = times.streamTime = FirstFrameTime + FramePeriod * currentFrame;
    }
    return times;
}

DecoderAction CodecRecordingDecoder::PositioningCore() {
    return FrameIsValid(currentFrame) ? DDA_COMPLETE : DecoderFailure();
}

DecoderAction CodecRecordingDecoder::DecompressingCore() {
    pictureReady = false;
    if (!FrameIsValid(currentFrame)) {
        return DecoderFailure();
    }
    const Entry& entry = entries[static_cast<size_t>(currentFrame)];
    return Read(file, entry.offset, entry.size);
}

DecoderAction CodecRecordingDecoder::DecompressingReadComplete(int32_t, bool ok) {
    if (!ok) {
        Log(0, "CodecRecordingDecoder::DecompressingReadComplete failed with bad result\n");
        return DecoderFailure();
    }
    pictureReady = true;
    return DDA_COMPLETE;
}

bool CodecRecordingDecoder::GetImage(int32_t bufferSize, uint8_t* buffer) {
    if (!pictureReady || codecs == nullptr || buffer == nullptr) {
        return false;
    }
    if (currentFrame != lastDecoded + 1) {
        codecs->Reset();
    }
    lastDecoded = currentFrame;
    if (!codecs->Decode(readBuffer, readSize, buffer, bufferSize)) {
        Log(0, "Bad image %d\n", currentFrame);
        return false;
    }
    return true;
}

int32_t CodecRecordingDecoder::GetFrameAtOrBefore(int32_t frame, int32_t) {
    return entries.empty() ? -1 : std::clamp(frame, -1, static_cast<int32_t>(entries.size()) - 1);
}

int32_t CodecRecordingDecoder::GetPreviousFrame(int32_t frame, int32_t) {
    const auto count = static_cast<int32_t>(entries.size());
    return frame < 1 ? -1 : std::min(frame, count) - 1;
}

int32_t CodecRecordingDecoder::GetNextFrame(int32_t frame, int32_t) {
    const auto count = static_cast<int32_t>(entries.size());
    return frame + 1 < count ? std::max(frame + 1, 0) : -1;
}

int32_t CodecRecordingDecoder::IndexOfFrameAtStreamTime(int64_t streamTime) {
    if (entries.empty() || streamTime < FirstFrameTime) {
        return entries.empty() ? -1 : 0;
    }
    const int64_t index = (streamTime - FirstFrameTime) / FramePeriod;
    return static_cast<int32_t>(std::min<int64_t>(index, static_cast<int64_t>(entries.size()) - 1));
}

// ---- closing ----

DecoderAction CodecRecordingDecoder::UnloadingCloseComplete(int32_t) {
    file = -1;
    Reset();
    return DDA_COMPLETE;
}

DecoderAction CodecRecordingDecoder::FailingCloseComplete(int32_t) {
    file = -1;
    Reset();
    return DecoderFailure();
}

} // namespace Hardening
