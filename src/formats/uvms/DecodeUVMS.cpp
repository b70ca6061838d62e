#include "formats/uvms/DecodeUVMS.h"

#include "model/support/LogLevels.h"

#include <cstring>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr double StageWeights[4] = {0.0004, 0.0797, 0.0654, 0.8545};
// The display order of one channel without the B frames before its first I or P frame, which have
// no reference.
std::vector<int32_t> ChannelDisplayOrder(const UVMSInputChannel& channel) {
    auto kindAt = [&channel](int32_t frame) { return channel.KindOf(frame); };
    const auto count = static_cast<int32_t>(channel.frames.size());
    int32_t firstAnchor = 0;
    while (firstAnchor < count && !IsAnchor(kindAt(firstAnchor))) {
        ++firstAnchor;
    }
    std::vector<int32_t> order;
    for (int32_t frame : DisplayOrder(count, kindAt)) {
        if (frame >= firstAnchor) {
            order.push_back(frame);
        }
    }
    return order;
}

} // namespace

DecodeUVMS::DecodeUVMS(const DecoderRow& row)
    : DelegatedLoadingDecoder(row, {"UVMSLoadingDelegateReadingFileHeaders Open failed\n",
                                    "UVMSLoadingDelegateReadingFileHeaders Read failed\n"}) {}

// Media files have no extension.
bool DecodeUVMS::IsExtension(const char* extension) {
    return extension == nullptr || extension[0] == '\0' || FormatDecoder::IsExtension(extension);
}

void DecodeUVMS::ForgetRecording() {
    ForgetDelegatedLoad();
    for (LoadingDelegate* delegate : std::initializer_list<LoadingDelegate*>{
             &readingChannelInfo, &readingFileHeaders, &readingImageIndices, &readingImageHeaders}) {
        delegate->Reset();
    }
    tables.config.Clear();
    tables.mediaRoot.clear();
    tables.mediaFiles.clear();
    tables.channels.clear();
    merged.clear();
    runningStage = 0;
    std::fill(std::begin(stageFractions), std::end(stageFractions), 0.0);
}

// ---- loading: four stages, then the merge ----

DecoderAction DecodeUVMS::LoadingCore() {
    Reset();
    return RunDelegate(StartLoadingDelegate(1, nullptr));
}

DecoderAction DecodeUVMS::StartLoadingDelegate(int32_t stage, const char*) {
    DecodeUVMSDelegate* const stages[] = {&readingChannelInfo, &readingFileHeaders, &readingImageIndices,
                                          &readingImageHeaders};
    if (runningStage > 0) {
        stages[runningStage - 1]->End();
    }
    runningStage = stage;
    return BeginDelegate(stages[stage - 1], loadName);
}

void DecodeUVMS::ReportDelegateProgress(double fraction) {
    stageFractions[runningStage - 1] = fraction;
    double progress = 0;
    for (int stage = 0; stage < 4; ++stage) {
        progress += stageFractions[stage] * StageWeights[stage];
    }
    ReportProgress(progress);
}

// Each round takes the channel whose next frame in display order has the lowest time; in a tie the
// later channel.
DecoderAction DecodeUVMS::FinishMerge() {
    std::vector<std::vector<int32_t>> orders;
    for (const auto& channel : tables.channels) {
        orders.push_back(ChannelDisplayOrder(*channel));
    }
    std::vector<size_t> heads(orders.size(), 0);
    for (;;) {
        int32_t taken = -1;
        for (size_t channel = 0; channel < orders.size(); ++channel) {
            if (heads[channel] < orders[channel].size() &&
                (taken < 0 ||
                 tables.channels[channel]
                         ->frames[static_cast<size_t>(orders[channel][heads[channel]])]
                         .time <=
                     MergedTime(taken,
                                orders[static_cast<size_t>(taken)][heads[static_cast<size_t>(taken)]]))) {
                taken = static_cast<int32_t>(channel);
            }
        }
        if (taken < 0) {
            break;
        }
        merged.emplace_back(taken, orders[static_cast<size_t>(taken)][heads[static_cast<size_t>(taken)]++]);
    }
    if (merged.empty()) {
        Log(LogCore, "DecodeUVMS:  No image files\n");
        return DDA_FAILED;
    }
    return DDA_COMPLETE;
}

int64_t DecodeUVMS::MergedTime(int32_t channel, int32_t frame) const {
    return tables.channels[static_cast<size_t>(channel)]->frames[static_cast<size_t>(frame)].time;
}

DecoderAction DecodeUVMS::FinishDelegatedLoad() {
    readingImageHeaders.End();
    const UVMSInputChannel& first = *tables.channels[static_cast<size_t>(merged.front().first)];
    imageWidth = first.width;
    imageHeight = first.height;
    aspectX = 704;
    aspectY = 576;
    colour = true;
    totalFrames = static_cast<int32_t>(merged.size());
    for (auto& channel : tables.channels) {
        channel->references.Allocate(static_cast<size_t>(imageWidth) * static_cast<size_t>(imageHeight) * 3);
    }
    FrameTimes firstTimes{}, lastTimes{};
    firstTimes.recordedTime = firstTimes.streamTime = MergedFrame(0).time;
    lastTimes.recordedTime = lastTimes.streamTime = MergedFrame(totalFrames - 1).time;
    SetTimeSpan(firstTimes, lastTimes);
    ReportProgress(1.0);
    return DDA_COMPLETE;
}

// ---- the merged list ----

const UVMSChannelFrameInfo& DecodeUVMS::MergedFrame(int32_t frame) const {
    const auto& [channel, position] = merged[static_cast<size_t>(frame)];
    return tables.channels[static_cast<size_t>(channel)]->frames[static_cast<size_t>(position)];
}

FrameTimes DecodeUVMS::GetFrameTimes() {
    FrameTimes times{};
    if (currentFrame >= 0 && currentFrame < totalFrames) {
        times.recordedTime = times.streamTime = MergedFrame(currentFrame).time;
    }
    return times;
}

void DecodeUVMS::GetFrameCamera(CameraTag* camera) {
    *camera = currentFrame >= 0 && currentFrame < totalFrames ? CurrentChannel().camera : CameraTag{};
}

void DecodeUVMS::GetCameras(uint8_t* mask) {
    std::memset(mask, 0, CameraMaskBytes);
    for (size_t number = 1; number <= tables.channels.size() && number < MaxCameras; ++number) {
        mask[number / 8] |= static_cast<uint8_t>(1u << (number % 8));
    }
}

// The frame nearest at or before the time.
int32_t DecodeUVMS::IndexOfFrameAtStreamTime(int64_t streamTime) {
    int32_t best = -1;
    for (int32_t frame = 0; frame < totalFrames; ++frame) {
        const int64_t time = MergedFrame(frame).time;
        if (time <= streamTime && (best < 0 || time > MergedFrame(best).time)) {
            best = frame;
        }
    }
    return best;
}

int32_t DecodeUVMS::GetNextFrame(int32_t frame, int32_t camera) {
    for (int32_t index = frame < 0 ? 0 : frame + 1; index < totalFrames; ++index) {
        if (merged[static_cast<size_t>(index)].first + 1 == camera) {
            return index;
        }
    }
    return -1;
}

int32_t DecodeUVMS::GetPreviousFrame(int32_t frame, int32_t camera) {
    for (int32_t index = frame > totalFrames ? totalFrames - 1 : frame - 1; index >= 0; --index) {
        if (merged[static_cast<size_t>(index)].first + 1 == camera) {
            return index;
        }
    }
    return -1;
}

DecoderAction DecodeUVMS::PositioningCore() {
    if (currentFrame < 0 || currentFrame >= totalFrames) {
        return Fail("PositioningCore No channel info for current frame\n");
    }
    return DDA_COMPLETE;
}

} // namespace Vorn::Vorncast::Decoders
