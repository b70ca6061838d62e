#include "native/kodicom/KodicomStream.h"

#include "interface/LibraryFrame.h"
#include "model/support/TimeText.h"
#include "native/NativeFailure.h"

namespace Vorn::Vorncast {
namespace {

constexpr const char* SourceFile = "Decoders\\Kodicom\\KodicomStream";

bool Aborted(AbortOperation abort) {
    return abort != nullptr && abort() != 0;
}

} // namespace

KodicomStream::KodicomStream(BixBoxFiles* spans, int32_t cameraChannel)
    : files(spans), channel(cameraChannel) {
    type = StreamVideo;
    streamNumber = cameraChannel;
}

KodicomStream::~KodicomStream() {
    Leave();
}

int KodicomStream::Start() {
    position = BeforeStart;
    currentFrame = -1;
    const int32_t first = SpanWithChannel(0, 1);
    return first >= 0
               ? MakeCurrent(first)
               : NativeFail(SourceFile, __LINE__, GeneralFailure, "KodicomDecoder BixBoxFile list broke");
}

void KodicomStream::Leave() {
    if (currentFile >= 0) {
        (*files)[static_cast<size_t>(currentFile)]->Release();
    }
    currentFile = -1;
    currentFrame = -1;
}

SampleDescription* KodicomStream::GetSampleDescription(int descriptionHandle) {
    for (const auto& description : descriptions) {
        if (description->Handle() == descriptionHandle) {
            return description.get();
        }
    }
    return nullptr;
}

// The stream holds one description a picture size, so that a sample's size always fits its own.
VideoSampleDescription* KodicomStream::DescriptionOf(int32_t width, int32_t height) {
    for (const auto& description : descriptions) {
        if (description->width == width && description->height == height) {
            return description.get();
        }
    }
    auto description = std::make_unique<VideoSampleDescription>();
    description->width = width;
    description->height = height;
    descriptions.push_back(std::move(description));
    return descriptions.back().get();
}

// The span being left frees its index when no other stream stands in it.
int KodicomStream::MakeCurrent(int32_t file) {
    if (file == currentFile) {
        return Success;
    }
    const int status = (*files)[static_cast<size_t>(file)]->Use();
    if (status != Success) {
        return status;
    }
    Leave();
    currentFile = file;
    return Success;
}

int32_t KodicomStream::SpanWithChannel(int32_t file, int32_t direction) const {
    for (; file >= 0 && file < static_cast<int32_t>(files->size()); file += direction) {
        if ((*files)[static_cast<size_t>(file)]->HasChannel(channel)) {
            return file;
        }
    }
    return -1;
}

// ---- seeking ----

// The span whose frames hold the target, or else the last one that begins before it.
int KodicomStream::ChooseSpan(int64_t target, int32_t* chosen) {
    *chosen = -1;
    for (int32_t file = SpanWithChannel(0, 1); file >= 0; file = SpanWithChannel(file + 1, 1)) {
        const BixBoxFile::ChannelSpan& span = (*files)[static_cast<size_t>(file)]->Channels().at(channel);
        if (*chosen < 0 && target < span.first.streamTime) {
            position = BeforeStart;
            MakeCurrent(file);
            currentFrame = -1;
            return NativeFail(SourceFile, __LINE__, EndOfStreamBeforeStart,
                              "User seeked to time before start of this BixBoxFile");
        }
        if (target < span.first.streamTime) {
            break;
        }
        *chosen = file;
        if (target <= span.last.streamTime) {
            break;
        }
    }
    return *chosen >= 0
               ? Success
               : NativeFail(SourceFile, __LINE__, GeneralFailure, "KodicomDecoder BixBoxFile list broke");
}

int KodicomStream::GoToTime(SeekRequest request, Sample* sample) {
    Log(SourceFile, __LINE__, LogTrace, "KodicomStream > GoToTime %s\n", TimeToText(request.targetTime).text);
    int32_t chosen = -1;
    int status = ChooseSpan(request.targetTime, &chosen);
    if (status == Success) {
        status = MakeCurrent(chosen);
    }
    if (status != Success) {
        return status;
    }
    BixBoxFile& file = *(*files)[static_cast<size_t>(chosen)];
    int32_t frame = -1;
    status = file.FindFrame(channel, request.targetTime, &frame);
    if (status == GeneralFailure && file.FrameCount(channel) > 0) {
        // A target past the span leaves the stream on the span's last frame.
        currentFrame = file.FrameCount(channel) - 1;
        position = OnSample;
    }
    if (status != Success) {
        return status;
    }
    const SampleRequest step{
        request.abort, {request.parameters[0], request.parameters[1]}, request.wantData, 0};
    return Deliver(frame, step, sample);
}

// ---- stepping ----

int KodicomStream::GetNextSample(SampleRequest request, Sample* sample) {
    if (position == AfterEnd || currentFile < 0) {
        return EndOfStreamAfterEnd;
    }
    int32_t frame = position == BeforeStart ? 0 : currentFrame + 1;
    if (frame >= (*files)[static_cast<size_t>(currentFile)]->FrameCount(channel)) {
        const int32_t next = SpanWithChannel(currentFile + 1, 1);
        if (next < 0) {
            position = AfterEnd;
            return EndOfStreamAfterEnd;
        }
        const int status = MakeCurrent(next);
        if (status != Success) {
            return status;
        }
        frame = 0;
    }
    return Deliver(frame, request, sample);
}

int KodicomStream::GetPreviousSample(SampleRequest request, Sample* sample) {
    if (position == BeforeStart) {
        return EndOfStreamBeforeStart;
    }
    if (currentFile < 0) {
        const int32_t last = SpanWithChannel(static_cast<int32_t>(files->size()) - 1, -1);
        if (last < 0 || MakeCurrent(last) != Success) {
            return NativeFail(SourceFile, __LINE__, GeneralFailure, "KodicomDecoder BixBoxFile list broke");
        }
        position = AfterEnd;
    }
    const int32_t count = (*files)[static_cast<size_t>(currentFile)]->FrameCount(channel);
    int32_t frame = position == AfterEnd ? count - 1 : currentFrame - 1;
    if (frame < 0) {
        const int32_t previous = SpanWithChannel(currentFile - 1, -1);
        if (previous < 0) {
            position = BeforeStart;
            currentFrame = -1;
            return EndOfStreamBeforeStart;
        }
        const int status = MakeCurrent(previous);
        if (status != Success) {
            return status;
        }
        frame = (*files)[static_cast<size_t>(currentFile)]->FrameCount(channel) - 1;
    }
    return Deliver(frame, request, sample);
}

// ---- handing out ----

// The stream stands on the frame whether or not its picture decodes, so that steps get past damage.
int KodicomStream::Deliver(int32_t frame, const SampleRequest& request, Sample* sample) {
    BixBoxFile& file = *(*files)[static_cast<size_t>(currentFile)];
    const KodicomFrameItem* item = file.Frame(channel, frame);
    if (item == nullptr) {
        return NativeFail(SourceFile, __LINE__, InvalidArgument, "frameInfo must not be null\n");
    }
    currentFrame = frame;
    position = OnSample;
    if (Aborted(request.abort)) {
        return NativeFail(SourceFile, __LINE__, UserAborted, "KodicomStream: Responded to user abort");
    }
    int32_t width = file.Channels().at(channel).width;
    int32_t height = file.Channels().at(channel).height;
    if (request.wantData == 1) {
        const int status = file.Decompress(channel, frame);
        if (status != Success) {
            return status;
        }
        width = file.Accumulator(channel).width;
        height = file.Accumulator(channel).height;
    }
    const int64_t size = int64_t{width} * height * 3;
    if (size > MaxNativeImageBytes) {
        return NativeFail(SourceFile, __LINE__, GeneralFailure,
                          "Uncompressed image size was out of sensible range %d", static_cast<int32_t>(size));
    }
    sample->uncompressedSize = static_cast<uint32_t>(size);
    if (request.wantData == 1) {
        sample->uncompressedData = lent.Lend(file.Accumulator(channel).pixels);
    }
    sample->descriptionHandle = DescriptionOf(width, height)->Handle();
    sample->time = item->time;
    return Success;
}

int KodicomStream::ReleaseSample(Sample sample) {
    return lent.GiveBack(sample.uncompressedData) ? Success : Stream::ReleaseSample(sample);
}

} // namespace Vorn::Vorncast
