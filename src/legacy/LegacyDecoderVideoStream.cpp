#include "legacy/LegacyDecoderVideoStream.h"

#include "interface/LibraryFrame.h"

#include <algorithm>
#include <cstring>
#include <memory>

namespace Vorn::Vorncast {
namespace {

constexpr const char* SourceFile = "Decoders\\LegacyDecoderHost\\LegacyDecoderVideoStream";
namespace Client = Decoders::MasDigitalCAPI;
using Decoders::FCR_CATASTROPHIC;
using Decoders::FCR_FAILURE;
using Decoders::FCR_SUCCESS;

} // namespace

LegacyDecoderVideoStream::LegacyDecoderVideoStream(const LegacyStreamSetup& setup,
                                                   const Decoders::ImageInfo& image)
    : LegacyDescribedStream(setup, StreamVideo) {
    description.width = image.width;
    description.height = image.height;
    description.bytesPerPixel = static_cast<int16_t>(image.planes);
    description.aspectNumerator = image.aspectX;
    description.aspectDenominator = image.aspectY;
    description.format = 1;
}

int LegacyDecoderVideoStream::ReleaseSample(Sample sample) {
    return lent.GiveBack(sample.uncompressedData) ? Success : Stream::ReleaseSample(sample);
}

uint8_t* LegacyDecoderVideoStream::SampleData(Decoders::SharedPicture shared, std::unique_ptr<uint8_t[]> copy,
                                              int64_t size) {
    if (shared == nullptr) {
        return copy.release();
    }
    if (static_cast<int64_t>(shared->size()) != size) {
        std::memcpy(copy.get(), shared->data(), std::min<size_t>(shared->size(), static_cast<size_t>(size)));
        return copy.release();
    }
    return lent.Lend(std::move(shared));
}

int32_t LegacyDecoderVideoStream::NextFrame(int32_t frame) {
    return Client::GetNextFrame(client, frame, streamNumber);
}

int32_t LegacyDecoderVideoStream::PreviousFrame(int32_t frame) {
    return Client::GetPreviousFrame(client, frame, streamNumber);
}

int32_t LegacyDecoderVideoStream::FrameAtStreamTime(int64_t time) {
    return Client::IndexOfFrameAtStreamTime(client, time);
}

bool LegacyDecoderVideoStream::IsOwnFrame(int32_t index) {
    return NextFrame(index - 1) == index;
}

int LegacyDecoderVideoStream::ChannelOfFrame(int32_t index, int32_t* channel) {
    FrameTimes times{};
    int64_t lastTime = 0;
    int32_t total = 0;
    uint64_t period = 0;
    int32_t camera = -1;
    if (Client::GetFrameInfo(client, index, &times, &lastTime, &total, &period, &camera, nullptr) !=
        FCR_SUCCESS) {
        camera = IsOwnFrame(index) ? streamNumber : -1;
    }
    *channel = camera;
    return Success;
}

LegacyDecoderVideoStream::FrameReport LegacyDecoderVideoStream::FetchFrame(int32_t index, uint8_t* picture,
                                                                           int32_t size,
                                                                           Decoders::SharedPicture* shared) {
    FrameReport report{FCR_FAILURE, {}, -1};
    int32_t total = 0;
    uint64_t period = 0;
    if (picture != nullptr) {
        int64_t duration = 0;
        report.result = Client::GetFrame(client, index, &report.times, size, picture, &duration, &total,
                                         &period, &report.channel, nullptr, shared);
    } else {
        int64_t lastTime = 0;
        report.result = Client::GetFrameInfo(client, index, &report.times, &lastTime, &total, &period,
                                             &report.channel, nullptr);
    }
    return report;
}

void LegacyDecoderVideoStream::LearnDamagedFrame(int32_t index, FrameReport* report) {
    FrameTimes times{};
    int64_t lastTime = 0;
    int32_t total = 0;
    uint64_t period = 0;
    int32_t camera = -1;
    if (Client::GetFrameInfo(client, index, &times, &lastTime, &total, &period, &camera, nullptr) ==
        FCR_SUCCESS) {
        report->times = times;
        report->channel = camera;
    } else if (report->channel == -1 && IsOwnFrame(index)) {
        report->channel = streamNumber;
    }
}

int LegacyDecoderVideoStream::DecompressSample(int32_t frameIndex, SampleRequest request, Sample* sample) {
    Log(SourceFile, __LINE__, LogTraceDetail, "LegacyDecoderVideoStream > DecompressSample %d\n", frameIndex);
    int64_t size = int64_t{description.bytesPerPixel} * description.height * description.width;
    if (size < 0 || size > MaxPictureBytes) {
        return SetLastError(GeneralFailure, SourceFile, __LINE__,
                            "Uncompressed image size was out of sensible range %d",
                            static_cast<int32_t>(size));
    }
    if (!HasAbort(request)) {
        return SetLastError(InvalidArgument, SourceFile, __LINE__,
                            "GetSample > AbortOperation is NULL. Not allowed\n");
    }
    sample->descriptionHandle = description.Handle();
    std::unique_ptr<uint8_t[]> picture(request.wantData == 1 ? new uint8_t[static_cast<size_t>(size)]
                                                             : nullptr);
    if (AbortRequested(request)) {
        return AbortedByUser("Operation was aborted by user");
    }
    SelectOwnTrack();
    Decoders::SharedPicture shared;
    FrameReport report = FetchFrame(frameIndex, picture.get(), static_cast<int32_t>(size), &shared);
    if (report.result == FCR_CATASTROPHIC) {
        return SetLastError(CatastrophicFailure, SourceFile, __LINE__, "FileClient failed catastrophically");
    }
    if (AbortRequested(request)) {
        return AbortedByUser("Operation was aborted by user");
    }
    if (report.result == FCR_FAILURE) {
        LearnDamagedFrame(frameIndex, &report);
        if (picture != nullptr) {
            std::memset(picture.get(), 0, static_cast<size_t>(size));
        }
    }
    if (report.channel != streamNumber) {
        return SetLastError(GeneralFailure, SourceFile, __LINE__, "Mismatched channel number");
    }
    if (report.result != FCR_SUCCESS && report.result != FCR_FAILURE) {
        return SetLastError(GeneralFailure, SourceFile, __LINE__,
                            "Failed with result = %d    currentFrame=%d    streamType=%d", report.result,
                            currentFrame, StreamVideo);
    }
    // A sample without data still tells the picture's size, so that a host can size its buffers from
    // a walk of times alone.
    sample->uncompressedSize = static_cast<uint32_t>(size);
    sample->uncompressedData =
        picture != nullptr ? SampleData(std::move(shared), std::move(picture), size) : nullptr;
    sample->time = report.times;
    currentFrame = frameIndex;
    position = OnFrame;
    return Success;
}

} // namespace Vorn::Vorncast
