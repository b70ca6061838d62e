#include "native/darlex/DarlexStream.h"

#include "core/time/Ticks.h"
#include "interface/LibraryFrame.h"
#include "model/support/TimeText.h"
#include "native/NativeFailure.h"

#include <algorithm>
#include <cinttypes>

namespace Vorn::Vorncast {
namespace {

constexpr const char* SourceFile = "Decoders\\Darlex\\DarlexStream";
// Sectors read at once by a search: one read finds the next header in a run of frames, and a
// stretch without frames costs few reads.
constexpr int64_t SearchRunBlocks = 128;
// More frames than this in one second of one camera are not believed.
constexpr size_t MaxFramesPerSecond = 1000;
constexpr int32_t PictureBytes = Decoders::ADV601Decoder::OutputSize(true);

bool Aborted(AbortOperation abort) {
    return abort != nullptr && abort() != 0;
}

// Truncated, which cannot overflow at the extreme times.
int64_t WholeSecond(int64_t time) {
    return time - time % Decoders::TicksPerSecond;
}

int64_t OnGrid(int64_t position) {
    return position / DarlexBlockBytes * DarlexBlockBytes;
}

} // namespace

DarlexStream::DarlexStream(int32_t cameraChannel, int64_t lower, int64_t upper)
    : lowerBound(lower), upperBound(upper) {
    type = StreamVideo;
    streamNumber = cameraChannel;
}

DarlexStream::~DarlexStream() = default;

int DarlexStream::Open(const std::vector<std::string>& paths) {
    for (const std::string& path : paths) {
        if (file.Append(path.c_str()) != Success) {
            return NativeFail(SourceFile, __LINE__, GeneralFailure,
                              "DarlexDecoder: Could not append file to composite file.");
        }
    }
    endOfFile = file.TotalSize();
    upperBound = std::min(upperBound, endOfFile);
    decoderContext = std::make_unique<Decoders::ADV601Decoder>();
    description = std::make_unique<VideoSampleDescription>();
    description->width = Decoders::ADV601FieldWidth;
    description->height = Decoders::ADV601TallFieldHeight;
    return Success;
}

SampleDescription* DarlexStream::GetSampleDescription(int descriptionHandle) {
    return description != nullptr && description->Handle() == descriptionHandle ? description.get() : nullptr;
}

int DarlexStream::ReleaseSample(Sample sample) {
    if (sample.uncompressedData == nullptr) {
        return SetLastError(InvalidArgument, SourceFile, __LINE__, "sample.uncompressedData");
    }
    delete[] sample.uncompressedData;
    return Success;
}

// ---- the search over the grid ----

// `count` sectors from `first` into `blocks`, cut at the end of the image.
int DarlexStream::ReadBlocks(int64_t first, int64_t count) {
    uint64_t reached = 0;
    if (file.Seek(first, &reached) != Success) {
        return NativeFail(SourceFile, __LINE__, GeneralFailure, "DarlexStream: Seek failed");
    }
    if (reached != static_cast<uint64_t>(first)) {
        return NativeFail(SourceFile, __LINE__, GeneralFailure, "DarlexStream: Seek got out of sync");
    }
    const auto wanted = static_cast<int32_t>(std::min(count * DarlexBlockBytes, endOfFile - first));
    blocks.resize(static_cast<size_t>(wanted));
    uint32_t read = 0;
    if (file.Read(wanted, blocks.data(), wanted, &read) != Success) {
        return NativeFail(SourceFile, __LINE__, GeneralFailure, "DarlexStream: Read failed");
    }
    blocks.resize(read);
    return Success;
}

// The first frame header on the grid from `start` on, forwards (positions below `limit`) or
// backwards (positions from `limit` on).
int DarlexStream::FindFrameHeader(int32_t direction, int64_t start, int64_t limit, Found* found,
                                  AbortOperation abort) {
    if (start < 0) {
        return SetLastError(EndOfStreamBeforeStart, SourceFile, __LINE__,
                            "FindFrameHeader started in invalid location (EOS:BS)");
    }
    if (start >= endOfFile) {
        return SetLastError(EndOfStreamAfterEnd, SourceFile, __LINE__,
                            "FindFrameHeader started in invalid location (EOS:AE)");
    }
    int64_t at = OnGrid(start);
    const int64_t end = std::min(limit, endOfFile - DarlexHeaderBytes + 1);
    const int64_t lowest =
        (std::max<int64_t>(limit, 0) + DarlexBlockBytes - 1) / DarlexBlockBytes * DarlexBlockBytes;
    Log(SourceFile, __LINE__, LogTraceDetail,
        direction > 0 ? "FindFrameHeader (Forwards) between 0x%08" PRIx64 " and 0x%08" PRIx64 "\n"
                      : "FindFrameHeader (Backwards) between 0x%08" PRIx64 " and 0x%08" PRIx64 "\n",
        at, limit);
    while (direction > 0 ? at < end : at >= lowest) {
        if (Aborted(abort)) {
            return NativeFail(SourceFile, __LINE__, UserAborted, "DarlexStream: Responded to user abort");
        }
        const int64_t count =
            std::min(SearchRunBlocks, direction > 0 ? (end - at + DarlexBlockBytes - 1) / DarlexBlockBytes
                                                    : (at - lowest) / DarlexBlockBytes + 1);
        const int64_t first = direction > 0 ? at : at - (count - 1) * DarlexBlockBytes;
        const int status = ReadBlocks(first, count);
        if (status != Success) {
            return status;
        }
        for (int64_t step = 0; step < count; ++step) {
            const int64_t index = direction > 0 ? step : count - 1 - step;
            const auto offset = static_cast<size_t>(index * DarlexBlockBytes);
            if (offset + DarlexHeaderBytes > blocks.size()) {
                continue;
            }
            ++blocksExamined;
            if (ReadDarlexFrameHeader(&blocks[offset], &found->header)) {
                ++headersFound;
                found->position = first + index * DarlexBlockBytes;
                return Success;
            }
        }
        at = direction > 0 ? at + count * DarlexBlockBytes : first - DarlexBlockBytes;
    }
    return SetLastError(direction > 0 ? EndOfStreamAfterEnd : EndOfStreamBeforeStart, SourceFile, __LINE__,
                        "DarlexStream: Failed to find frame header within track bounds");
}

// The first frame of this stream's camera from `start` on; other cameras' frames are hopped over.
int DarlexStream::FindChannelFrame(int32_t direction, int64_t start, int64_t limit, Found* found,
                                   AbortOperation abort) {
    for (;;) {
        const int status = FindFrameHeader(direction, start, limit, found, abort);
        if (status != Success || found->header.channel == streamNumber) {
            return status;
        }
        start = found->position + direction * DarlexBlockBytes;
    }
}

// Halves the range by the time of the camera's frame at or after its middle, until a frame of the
// target's second is met or the range is one sector; then the frame at or before the target.
int DarlexStream::SearchByTime(int64_t target, AbortOperation abort, Found* found, Bounds* second) {
    int64_t lower = lowerBound;
    int64_t upper = upperBound;
    int64_t midpoint = OnGrid(lower + (upper - lower) / 2);
    Log(SourceFile, __LINE__, LogTrace,
        "GoToTime: Initial search: Lower=0x%08" PRIx64 "\t\t\tmidpoint=0x%08" PRIx64
        "\t\t\tUpper=0x%08" PRIx64 "\n",
        lower, midpoint, upper);
    while (upper - lower > DarlexBlockBytes) {
        if (Aborted(abort)) {
            return NativeFail(SourceFile, __LINE__, UserAborted, "DarlexStream: Responded to user abort");
        }
        Found candidate;
        const int status = FindChannelFrame(1, midpoint, upper, &candidate, abort);
        if (status == EndOfStreamAfterEnd) {
            upper = midpoint; // nothing of this camera from the middle up
        } else if (status != Success) {
            Log(SourceFile, __LINE__, LogCore, "Failed to find frame header for requested channel number\n");
            return status;
        } else if (candidate.header.second > targetSecond) {
            Log(SourceFile, __LINE__, LogTrace, "GoToTime: Target time %s is < found time %s\n",
                TimeToText(target).text, TimeToText(candidate.header.second).text);
            upper = midpoint;
        } else if (candidate.header.second < targetSecond) {
            Log(SourceFile, __LINE__, LogTrace, "GoToTime: Target time %s is > found time %s\n",
                TimeToText(target).text, TimeToText(candidate.header.second).text);
            lower = candidate.position + DarlexBlockBytes;
        } else {
            // Before `lower` lie earlier seconds, and from `upper` on later ones.
            *found = candidate;
            *second = {lower, upper};
            return Success;
        }
        midpoint = OnGrid(lower + (upper - lower) / 2);
        Log(SourceFile, __LINE__, LogTraceDetail,
            "GoToTime: New search: Lower=0x%08" PRIx64 "\t\tmidpoint=0x%08" PRIx64 "\t\tUpper=0x%08" PRIx64
            "\t\tRange=0x%08" PRIx64 "\n",
            lower, midpoint, upper, upper - lower);
    }
    // The frame found running back may share its second with frames before `lower`.
    *second = {lowerBound, upper};
    return RunBack(upper, found, abort);
}

// The camera's last frame before `from` whose second is not after the target's.
int DarlexStream::RunBack(int64_t from, Found* found, AbortOperation abort) {
    int64_t at = std::min(from, endOfFile) - DarlexBlockBytes;
    for (;;) {
        const int status =
            at >= lowerBound ? FindChannelFrame(-1, at, lowerBound, found, abort) : EndOfStreamBeforeStart;
        if (status == EndOfStreamBeforeStart) {
            return NativeFail(SourceFile, __LINE__, EndOfStreamBeforeStart, "Failed to find valid frame");
        }
        if (status != Success) {
            Log(SourceFile, __LINE__, LogCore, "Error running back to find prior frame\n");
            return status;
        }
        if (found->header.second <= targetSecond) {
            return Success;
        }
        at = found->position - DarlexBlockBytes;
    }
}

// ---- the local index of one second ----

void DarlexStream::AddToLocalIndex(const Found& frame) {
    localIndex.push_back({frame.position, frame.header.second, static_cast<int32_t>(localIndex.size()),
                          frame.header.dataBlocks});
}

int32_t DarlexStream::IndexOf(int64_t framePosition) const {
    for (size_t index = 0; index < localIndex.size(); ++index) {
        if (localIndex[index].position == framePosition) {
            return static_cast<int32_t>(index);
        }
    }
    return 0;
}

// The camera's frames of the second of `from`: back to the second's first, then forward to its
// last, looking no further than the bounds given. Headers hold whole seconds only, so the frames
// share the second out evenly.
int DarlexStream::BuildLocalIndex(const Found& from, AbortOperation abort, Bounds bounds) {
    Log(SourceFile, __LINE__, LogTrace, "Building local index from 0x%08" PRIx64 " for camera %d\n",
        from.position, streamNumber);
    localIndex.clear();
    indexPosition = -1;
    Found first = from;
    Found other;
    for (int64_t at = from.position - DarlexBlockBytes;
         at >= bounds.lower && FindChannelFrame(-1, at, bounds.lower, &other, abort) == Success &&
         other.header.second == from.header.second;
         at = other.position - DarlexBlockBytes) {
        first = other;
    }
    if (Aborted(abort)) {
        return NativeFail(SourceFile, __LINE__, UserAborted, "DarlexStream: Responded to user abort");
    }
    AddToLocalIndex(first);
    Log(SourceFile, __LINE__, LogTraceDetail,
        "Add initial frame at 0x%08" PRIx64 " with time %s to localindex\n", first.position,
        TimeToText(first.header.second).text);
    for (int64_t at = first.position + DarlexBlockBytes;
         at < bounds.upper && localIndex.size() < MaxFramesPerSecond;
         at = other.position + DarlexBlockBytes) {
        const int status = FindChannelFrame(1, at, bounds.upper, &other, abort);
        if (status == EndOfStreamAfterEnd) {
            break;
        }
        if (status != Success) {
            return status;
        }
        if (other.header.second != first.header.second) {
            Log(SourceFile, __LINE__, LogTraceDetail,
                "Frame at 0x%08" PRIx64
                " with time %s...but this frame is from a different second, so is outside "
                "the indexable area\n",
                other.position, TimeToText(other.header.second).text);
            break;
        }
        AddToLocalIndex(other);
        Log(SourceFile, __LINE__, LogTraceDetail, "Add frame at 0x%08" PRIx64 " with time %s to localindex\n",
            other.position, TimeToText(other.header.second).text);
    }
    const int64_t gap = Decoders::TicksPerSecond / static_cast<int64_t>(localIndex.size());
    for (DarlexFrameInfo& frame : localIndex) {
        frame.time += frame.ordinal * gap;
    }
    return Success;
}

int DarlexStream::StepToNextSecond(AbortOperation abort) {
    const int64_t from = !localIndex.empty()             ? localIndex.back().position + DarlexBlockBytes
                         : currentPosition >= lowerBound ? currentPosition
                                                         : lowerBound;
    Found next;
    int status =
        from < upperBound ? FindChannelFrame(1, from, upperBound, &next, abort) : EndOfStreamAfterEnd;
    if (status == EndOfStreamAfterEnd) {
        position = AfterEnd;
        return SetLastError(EndOfStreamAfterEnd, SourceFile, __LINE__, "DarlexStream > EOS after end");
    }
    if (status != Success) {
        Log(SourceFile, __LINE__, LogCore, "DarlexStream > Failure building local index\n");
        return status;
    }
    status = BuildLocalIndex(next, abort, {lowerBound, upperBound});
    if (status != Success) {
        return NativeFail(SourceFile, __LINE__, status, "DarlexStream > Could not build local index");
    }
    indexPosition = IndexOf(next.position);
    return Success;
}

int DarlexStream::StepToPreviousSecond(AbortOperation abort) {
    const int64_t from =
        !localIndex.empty() ? localIndex.front().position - DarlexBlockBytes : lowerBound - 1;
    Found previous;
    int status = from >= lowerBound ? FindChannelFrame(-1, from, lowerBound, &previous, abort)
                                    : EndOfStreamBeforeStart;
    if (status == EndOfStreamBeforeStart) {
        position = BeforeStart;
        indexPosition = -1;
        return SetLastError(EndOfStreamBeforeStart, SourceFile, __LINE__, "DarlexStream > EOS before start");
    }
    if (status != Success) {
        Log(SourceFile, __LINE__, LogCore, "DarlexStream > Failure building local index\n");
        return status;
    }
    status = BuildLocalIndex(previous, abort, {lowerBound, upperBound});
    if (status != Success) {
        return NativeFail(SourceFile, __LINE__, status, "DarlexStream > Could not build local index");
    }
    indexPosition = IndexOf(previous.position);
    return Success;
}

// ---- seeking and stepping ----

int DarlexStream::GoToTime(SeekRequest request, Sample* sample) {
    const int64_t target = request.targetTime;
    Log(SourceFile, __LINE__, LogTrace, "DarlexStream > GoToTime %s\n", TimeToText(target).text);
    targetSecond = WholeSecond(target);
    localIndex.clear();
    indexPosition = -1;
    if (target == INT64_MIN) {
        position = BeforeStart;
        currentPosition = -1;
        return SetLastError(EndOfStreamBeforeStart, SourceFile, __LINE__, "DarlexStream > GoToTime _I64_MIN");
    }
    Found found;
    Bounds second;
    int status = SearchByTime(target, request.abort, &found, &second);
    if (status == EndOfStreamBeforeStart) {
        position = BeforeStart;
        currentPosition = -1;
    }
    if (status == Success) {
        status = BuildLocalIndex(found, request.abort, second);
    }
    if (status != Success) {
        return status;
    }
    indexPosition = 0;
    while (indexPosition + 1 < static_cast<int32_t>(localIndex.size()) &&
           localIndex[static_cast<size_t>(indexPosition) + 1].time <= target) {
        ++indexPosition;
    }
    position = OnSample;
    const SampleRequest step{
        request.abort, {request.parameters[0], request.parameters[1]}, request.wantData, 0};
    return GetSampleFromHeader(localIndex[static_cast<size_t>(indexPosition)], step, sample);
}

int DarlexStream::GetNextSample(SampleRequest request, Sample* sample) {
    if (position == AfterEnd) {
        return EndOfStreamAfterEnd;
    }
    if (indexPosition + 1 < static_cast<int32_t>(localIndex.size())) {
        ++indexPosition;
    } else {
        const int status = StepToNextSecond(request.abort);
        if (status != Success) {
            return status;
        }
    }
    position = OnSample;
    return GetSampleFromHeader(localIndex[static_cast<size_t>(indexPosition)], request, sample);
}

int DarlexStream::GetPreviousSample(SampleRequest request, Sample* sample) {
    if (position == BeforeStart) {
        return EndOfStreamBeforeStart;
    }
    const bool onLast = position == AfterEnd && indexPosition >= 0;
    if (!onLast && indexPosition > 0) {
        --indexPosition;
    } else if (!onLast) {
        const int status = StepToPreviousSecond(request.abort);
        if (status != Success) {
            return status;
        }
    }
    position = OnSample;
    return GetSampleFromHeader(localIndex[static_cast<size_t>(indexPosition)], request, sample);
}

// ---- handing out ----

int DarlexStream::GetSampleFromHeader(const DarlexFrameInfo& frame, const SampleRequest& request,
                                      Sample* sample) {
    Log(SourceFile, __LINE__, LogTraceDetail, "GetSampleFromHeader at 0x%08x\n",
        static_cast<uint32_t>(frame.position));
    if (type != StreamVideo) {
        return NativeFail(SourceFile, __LINE__, GeneralFailure,
                          "DarlexStream: Can't handle this stream type");
    }
    currentPosition = frame.position;
    if (Aborted(request.abort)) {
        return NativeFail(SourceFile, __LINE__, UserAborted, "DarlexStream: Responded to user abort");
    }
    if (request.wantData == 1) {
        // The field's sectors and the one behind them, where the image has it.
        const int64_t start = frame.position + DarlexBlockBytes;
        const int64_t needed = int64_t{frame.dataBlocks} * DarlexBlockBytes;
        const int64_t wanted = std::max<int64_t>(0, std::min(needed + DarlexBlockBytes, endOfFile - start));
        int status = frame.dataBlocks > 0 && start < endOfFile
                         ? ReadBlocks(start, wanted / DarlexBlockBytes + 1)
                         : Success;
        if (status != Success) {
            return status;
        }
        if (frame.dataBlocks <= 0 || static_cast<int64_t>(blocks.size()) < needed) {
            return NativeFail(SourceFile, __LINE__, GeneralFailure,
                              "DarlexStream: Read got wrong number of bytes");
        }
        field.assign(blocks.begin(),
                     blocks.begin() + std::min<int64_t>(wanted, static_cast<int64_t>(blocks.size())));
        // The codec wants its start marker where the recorder's field begins.
        field[0] = field[1] = 0xFF;
        auto* picture = new uint8_t[PictureBytes];
        if (!decoderContext->Decode(true, false, field.data(), static_cast<int32_t>(field.size()), picture)) {
            delete[] picture;
            return NativeFail(SourceFile, __LINE__, GeneralFailure,
                              "DarlexStream: Decoder failed to decompress image at offset 0x%" PRIx64, start);
        }
        sample->uncompressedData = picture;
    }
    sample->uncompressedSize = PictureBytes;
    sample->descriptionHandle = description->Handle();
    sample->time = FrameTimes{};
    sample->time.recordedTime = frame.time;
    sample->time.streamTime = frame.time;
    return Success;
}

} // namespace Vorn::Vorncast
