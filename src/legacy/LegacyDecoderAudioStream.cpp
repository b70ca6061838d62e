#include "legacy/LegacyDecoderAudioStream.h"

#include "interface/LibraryFrame.h"

#include <memory>

namespace Vorn::Vorncast {
namespace {

constexpr const char* SourceFile = "Decoders\\LegacyDecoderHost\\LegacyDecoderAudioStream";
namespace Client = Decoders::MasDigitalCAPI;
using Decoders::FCR_SUCCESS;

// Audio runs on channel 0 of the core's audio index.
constexpr int32_t AudioChannel = 0;

FrameTimes WithPlainFlags(FrameTimes times) {
    times.zoneKnown = times.zoneKnown != 0 ? 1 : 0;
    times.zoneFlag = times.zoneFlag != 0 ? 1 : 0;
    return times;
}

} // namespace

LegacyDecoderAudioStream::LegacyDecoderAudioStream(const LegacyStreamSetup& setup,
                                                   const Decoders::AudioInfo& audio)
    : LegacyDescribedStream(setup, StreamAudio) {
    description.sampleRate = audio.samplesPerSecond;
    description.bitsPerSample = audio.bitsPerSample;
    description.channels = audio.channels;
    description.maxSampleBytes = audio.frameBytes;
}

int32_t LegacyDecoderAudioStream::NextFrame(int32_t frame) {
    return Client::GetNextAudioFrame(client, frame, AudioChannel);
}

int32_t LegacyDecoderAudioStream::PreviousFrame(int32_t frame) {
    return Client::GetPreviousAudioFrame(client, frame, AudioChannel);
}

int32_t LegacyDecoderAudioStream::FrameAtStreamTime(int64_t time) {
    return Client::IndexOfAudioFrameAtStreamTime(client, time);
}

int LegacyDecoderAudioStream::ChannelOfFrame(int32_t index, int32_t* channel) {
    FrameTimes times{};
    int32_t total = 0;
    int32_t unused = 0;
    int32_t camera = -1;
    if (Client::GetAudioFrameInfo(client, index, &times, &total, &unused, &camera, nullptr) != FCR_SUCCESS) {
        return SetLastError(GeneralFailure, SourceFile, __LINE__, "GetAudioFrameInfo failed");
    }
    *channel = camera;
    return Success;
}

int LegacyDecoderAudioStream::DecompressSample(int32_t frameIndex, SampleRequest, Sample* sample) {
    int32_t size = description.maxSampleBytes;
    if (size < 0 || size > MaxPictureBytes) {
        return SetLastError(GeneralFailure, SourceFile, __LINE__,
                            "Uncompressed image size was out of sensible range %d", size);
    }
    std::unique_ptr<uint8_t[]> block(new uint8_t[static_cast<size_t>(size)]());
    SelectOwnTrack();
    FrameTimes times{};
    int32_t frameBytes = 0;
    int32_t total = 0;
    int32_t camera = 0;
    int32_t result = Client::GetAudioFrame(client, frameIndex, &times, size, block.get(), &frameBytes, &total,
                                           &camera, nullptr);
    if (result != FCR_SUCCESS) {
        return SetLastError(GeneralFailure, SourceFile, __LINE__,
                            "Failed with result = %d    currentFrame=%d    streamType=%d", result,
                            currentFrame, StreamAudio);
    }
    sample->uncompressedSize = static_cast<uint32_t>(size);
    sample->uncompressedData = block.release();
    sample->descriptionHandle = description.Handle();
    sample->time = WithPlainFlags(times);
    currentFrame = frameIndex;
    position = OnFrame;
    return Success;
}

} // namespace Vorn::Vorncast
