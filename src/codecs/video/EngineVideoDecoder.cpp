#include "codecs/video/EngineVideoDecoder.h"

#include "interface/LibraryFrame.h"

extern "C" {
#include <libavutil/frame.h>
}

#include <cstring>

namespace Vorn::Vorncast::Decoders {

namespace {

int32_t FrameTypeOf(const AVFrame& picture) {
    switch (picture.pict_type) {
    case AV_PICTURE_TYPE_I:
        return VideoFrameI;
    case AV_PICTURE_TYPE_P:
        return VideoFrameP;
    case AV_PICTURE_TYPE_B:
        return VideoFrameB;
    default:
        return VideoFrameOther;
    }
}

} // namespace

EngineVideoDecoder::EngineVideoDecoder(const char* adapterName, VideoCodec codec, bool decodingOrderOutput)
    : adapterName(adapterName), codec(codec), decodingOrderOutput(decodingOrderOutput) {}

bool EngineVideoDecoder::Initialise(int32_t width, int32_t height, int32_t channels, bool lineDoubling,
                                    const uint8_t* config, int32_t configSize) {
    initialised = false;
    if (channels != 3 || width <= 0 || height <= 0) {
        return false;
    }
    this->width = width;
    this->height = height;
    this->channels = channels;
    this->lineDoubling = lineDoubling;
    frameType = VideoFrameNone;
    newPicture = false;
    initialised = OpenEngine(ByteView(config, configSize > 0 ? static_cast<size_t>(configSize) : 0));
    return initialised;
}

bool EngineVideoDecoder::OpenEngine(ByteView config) {
    return engine.Open(codec, width, height, config, decodingOrderOutput);
}

void EngineVideoDecoder::Reset() {
    engine.Reset();
}

void EngineVideoDecoder::Release() {
    engine.Close();
    writer.Release();
    IppDecoder::Release();
}

bool EngineVideoDecoder::OutputFits(const uint8_t* output, int32_t outputSize) const {
    return output != nullptr && outputSize >= PictureBytes();
}

void EngineVideoDecoder::LogBadOutput() const {
    if (logsBadOutput) {
        Log(__FILE__, __LINE__, LogCore, "%s::Decode bad output buffer\n", adapterName);
    }
}

bool EngineVideoDecoder::CheckOutput(const uint8_t*, int32_t, const uint8_t* output, int32_t outputSize) {
    if (OutputFits(output, outputSize)) {
        return true;
    }
    LogBadOutput();
    return false;
}

int32_t EngineVideoDecoder::PrepareInput(ByteView accessUnit) {
    uint8_t* buffer = engine.InputBuffer(static_cast<int32_t>(accessUnit.Size()));
    if (buffer == nullptr) {
        return AVERROR(ENOMEM);
    }
    std::memcpy(buffer, accessUnit.Data(), accessUnit.Size());
    return 0;
}

bool EngineVideoDecoder::Decode(const uint8_t* input, int32_t size, uint8_t* output, int32_t outputSize) {
    newPicture = false;
    if (!CheckOutput(input, size, output, outputSize)) {
        return false;
    }
    EngineStep step;
    return Feed(input, size, &step) && Deliver(step, output, outputSize);
}

bool EngineVideoDecoder::DecodeSkippingPicture(const uint8_t* input, int32_t size) {
    newPicture = false;
    skippedPicture = false;
    EngineStep step;
    if (!Feed(input, size, &step)) {
        return false;
    }
    if (step.status < 0) {
        LogEngineFailure(step.status);
        return false;
    }
    skippedPicture = step.picture;
    return true;
}

EngineVideoDecoder::KeptPicture EngineVideoDecoder::KeepPicture() const {
    if (!skippedPicture || engine.Picture() == nullptr) {
        return nullptr;
    }
    AVFrame* kept = av_frame_clone(engine.Picture());
    return KeptPicture(kept, [](const AVFrame* frame) {
        AVFrame* owned = const_cast<AVFrame*>(frame);
        av_frame_free(&owned);
    });
}

bool EngineVideoDecoder::WritePicture(const KeptPicture& picture, uint8_t* output, int32_t outputSize) {
    if (picture == nullptr) {
        return false;
    }
    AdoptPictureSize(picture->width, picture->height);
    if (!OutputFits(output, outputSize)) {
        LogBadOutput();
        return false;
    }
    return writer.Write(*picture, output, width, height, lineDoubling);
}

bool EngineVideoDecoder::Feed(const uint8_t* input, int32_t size, EngineStep* step) {
    if (input == nullptr) {
        Log(__FILE__, __LINE__, LogCore, "MediaDataEx::SetBufferPointer failed\n");
        return false;
    }
    if (size <= 0) {
        Log(__FILE__, __LINE__, LogCore, "MediaDataEx::SetDataSize failed\n");
        return false;
    }
    if (!engine.IsOpen()) {
        LogEngineFailure(AVERROR(EINVAL));
        return false;
    }
    int32_t prepared = PrepareInput(ByteView(input, static_cast<size_t>(size)));
    if (prepared < 0) {
        LogEngineFailure(prepared);
        return false;
    }
    *step = engine.Decode();
    return true;
}

bool EngineVideoDecoder::FlushDelayed(uint8_t* output, int32_t outputSize) {
    newPicture = false;
    if (!engine.IsOpen() || !CheckOutput(nullptr, 0, output, outputSize)) {
        return false;
    }
    EngineStep step = engine.Drain();
    // The end of the held-back pictures is no failure of the engine.
    return step.picture && Deliver(step, output, outputSize);
}

bool EngineVideoDecoder::Deliver(EngineStep step, uint8_t* output, int32_t outputSize) {
    if (step.status < 0) {
        LogEngineFailure(step.status);
        return false;
    }
    if (!step.picture) {
        return true;
    }
    const AVFrame& picture = *engine.Picture();
    AdoptPictureSize(picture.width, picture.height);
    if (!OutputFits(output, outputSize)) {
        LogBadOutput();
        return false;
    }
    if (!writer.Write(picture, output, width, height, lineDoubling)) {
        LogEngineFailure(AVERROR(EINVAL));
        return false;
    }
    newPicture = true;
    frameType = FrameTypeOf(picture);
    return true;
}

} // namespace Vorn::Vorncast::Decoders
