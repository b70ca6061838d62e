#include "formats/darlex/DecodeDarlex.h"

#include "core/framelists/StreamTimes.h"
#include "formats/shared/FrameListQueries.h"
#include "model/support/LogLevels.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace Vorn::Vorncast::Decoders {

using namespace Darlex;

namespace {

// Where each stage's progress lies in the load's: the walks of the frames cost the most, and in
// the variant that walks the whole stream nearly all of it.
struct StageWeights {
    double a, b, c;
};
constexpr StageWeights TrackedWeights = {1.0 / 6, 1.0 / 3, 1.0};
constexpr StageWeights AllFramesWeights = {0.025, 0.05, 0.15};

FrameTimes TimesAt(int64_t time) {
    FrameTimes times{};
    times.recordedTime = time;
    times.streamTime = time;
    return times;
}

} // namespace

DecodeDarlex::DecodeDarlex(const DecoderRow& row)
    : DelegatedLoadingDecoder(row,
                              {"DecodeDarlex Loading open failed\n", "DecodeDarlex Loading read failed\n"}),
      gettingFileSizes(*this, tables), findingTracks(*this, tables), indexingTrackedFrames(*this, tables),
      indexingUntrackedFrames(*this, tables) {}

const char* DecodeDarlex::GetDecoderName() {
    return Variant() == 0 || Variant() == 1 ? Row().name : "Tecton Darlex - bad variant";
}

// The image has no signature a query could test.
DecoderAction DecodeDarlex::QueryingCore() {
    queryConfidence = 50;
    return DDA_COMPLETE;
}

// ---- loading ----

DecoderAction DecodeDarlex::LoadingCore() {
    if (RunningDelegate() != nullptr) {
        return Fail("DecodeDarlex LoadingCore with loadingdelegate not null\n");
    }
    tables.Clear();
    return RunDelegate(StartLoadingDelegate(1));
}

DecoderAction DecodeDarlex::StartLoadingDelegate(int32_t n) {
    LoadingDelegate* stages[StageCount] = {&gettingFileSizes, &findingTracks, &indexingTrackedFrames,
                                           &indexingUntrackedFrames};
    if (n < 1 || n > StageCount) {
        return DDA_NO_ACTION;
    }
    runningStage = n;
    return BeginDelegate(stages[n - 1], loadName);
}

void DecodeDarlex::ReportDelegateProgress(double fraction) {
    const StageWeights& w = Variant() == 1 ? AllFramesWeights : TrackedWeights;
    const double starts[StageCount + 1] = {0, w.a, w.b, w.c, 1.0};
    int32_t stage = std::clamp(runningStage, 1, StageCount);
    // A damaged directory can put a track's end before its start; the fraction stays in bounds.
    fraction = std::clamp(fraction, 0.0, 1.0);
    ReportProgress(starts[stage - 1] + (starts[stage] - starts[stage - 1]) * fraction);
}

DecoderAction DecodeDarlex::FinishDelegatedLoad() {
    runningStage = 0;
    if (tables.tracks.empty()) {
        return DecoderFailure();
    }
    imageWidth = FieldWidth;
    imageHeight = FieldHeight;
    colour = true;
    AssignTrackStreamTimes();
    currentTrack = 0;
    totalTracks = static_cast<int32_t>(tables.tracks.size());
    totalFrames = tables.tracks[0].frameCount;
    SetTimeSpan(tables.tracks[0].firstTime, tables.tracks[0].lastTime);
    return DDA_COMPLETE;
}

// Each track's frames are spread over their stamps on their own, so that a track's stream times
// do not depend on the tracks beside it.
void DecodeDarlex::AssignTrackStreamTimes() {
    for (const Track& track : tables.tracks) {
        auto first = tables.frames.begin();
        for (int32_t i = 0; i < track.firstFrame && first != tables.frames.end(); ++i) {
            ++first;
        }
        auto end = first;
        for (int32_t i = 0; i < track.frameCount && end != tables.frames.end(); ++i) {
            ++end;
        }
        StreamTimes::AssignSpreading(first, end);
    }
}

void DecodeDarlex::ForgetRecording() {
    ForgetDelegatedLoad();
    tables.Clear();
    gettingFileSizes.Reset();
    findingTracks.Reset();
    indexingTrackedFrames.Reset();
    indexingUntrackedFrames.Reset();
    runningStage = 0;
    frameBuffer.Free();
    fetchFileId = -1;
    fetchFileNumber = -1;
    imageGood = false;
}

// ---- tracks as the caller sees them ----

const Track* DecodeDarlex::SelectedTrack() const {
    return currentTrack >= 0 && currentTrack < static_cast<int32_t>(tables.tracks.size())
               ? &tables.tracks[currentTrack]
               : nullptr;
}

int32_t DecodeDarlex::ListIndex(int32_t frame) const {
    const Track* track = SelectedTrack();
    return track != nullptr && frame >= 0 && frame < track->frameCount ? track->firstFrame + frame : -1;
}

bool DecodeDarlex::GetTrackInfo(int32_t track, char* name, FrameTimes* first, FrameTimes* last,
                                int32_t* frames, bool* hasAudio) {
    if (track < 0 || track >= static_cast<int32_t>(tables.tracks.size())) {
        return DelegatedLoadingDecoder::GetTrackInfo(track, name, first, last, frames, hasAudio);
    }
    const Track& t = tables.tracks[track];
    SystemTime from{};
    SystemTime to{};
    SystemTimeFromTicks(t.firstTime, &from);
    SystemTimeFromTicks(t.lastTime, &to);
    std::snprintf(name, TrackNameLength, "%.2d: %.2d/%.2d/%.4d %.2d:%.2d - %.2d/%.2d/%.4d %.2d:%.2d",
                  track + 1, from.wDay, from.wMonth, from.wYear, from.wHour, from.wMinute, to.wDay, to.wMonth,
                  to.wYear, to.wHour, to.wMinute);
    *first = TimesAt(t.firstTime);
    *last = TimesAt(t.lastTime);
    *frames = t.frameCount;
    *hasAudio = false;
    return true;
}

void DecodeDarlex::GetCameras(uint8_t* mask) {
    std::memset(mask, 0, CameraMaskBytes);
    const Track* track = SelectedTrack();
    if (track == nullptr) {
        Log(LogCore,
            "DecodeDarlex::Cameras() returning empty camera list because track info not found for track %d\n",
            currentTrack);
        return;
    }
    for (const CameraTag& camera : track->cameras) {
        mask[camera.number / 8] |= static_cast<uint8_t>(1u << (camera.number % 8));
    }
}

int32_t DecodeDarlex::IndexOfFrameAtStreamTime(int64_t streamTime) {
    const Track* track = SelectedTrack();
    if (track == nullptr) {
        return -1;
    }
    return StreamTimes::SearchStreamTime(track->frameCount, streamTime, [this, track](int32_t index) {
        return tables.frames.RecordAt(track->firstFrame + index)->streamTime;
    });
}

int32_t DecodeDarlex::GetPreviousFrame(int32_t frame, int32_t cameraFilter) {
    const Track* track = SelectedTrack();
    if (track == nullptr) {
        return -1;
    }
    for (int32_t index = std::min(frame, track->frameCount) - 1; index >= 0; --index) {
        if (tables.frames.GetCamera(track->firstFrame + index) == cameraFilter) {
            return index;
        }
    }
    return -1;
}

int32_t DecodeDarlex::GetNextFrame(int32_t frame, int32_t cameraFilter) {
    const Track* track = SelectedTrack();
    if (track == nullptr) {
        return -1;
    }
    for (int32_t index = std::max(frame + 1, 0); index < track->frameCount; ++index) {
        if (tables.frames.GetCamera(track->firstFrame + index) == cameraFilter) {
            return index;
        }
    }
    return -1;
}

FrameTimes DecodeDarlex::GetFrameTimes() {
    int32_t index = ListIndex(currentFrame);
    return index >= 0 ? TimesOfFrame(*tables.frames.RecordAt(index)) : FrameTimes{};
}

void DecodeDarlex::GetFrameCamera(CameraTag* camera) {
    int32_t index = ListIndex(currentFrame);
    *camera = index >= 0 ? tables.frames.RecordAt(index)->camera : CameraTag{};
}

// ---- fetching a frame ----

// The field follows its header's sector. Whole words are read, and one more.
DecoderAction DecodeDarlex::DecompressingCore() {
    int32_t index = ListIndex(currentFrame);
    if (index < 0) {
        return DecoderFailure();
    }
    const MultiFileFrameInfo& frame = *tables.frames.RecordAt(index);
    fetchedFrame = index;
    imageGood = false;
    fetchReadFailed = false;
    fetchOffset = frame.offset + SectorSize;
    fetchLeft = (frame.size & ~3u) + 4;
    fetchFilled = 0;
    if (fetchLeft < 4 || !frameBuffer.Resize(fetchLeft)) {
        return DDA_COMPLETE;
    }
    if (fetchFileId != -1 && fetchFileNumber == frame.fileNumber) {
        return ReadFetchPart();
    }
    return FetchFromFile(frame.fileNumber);
}

DecoderAction DecodeDarlex::FetchFromFile(int32_t fileNumber) {
    fetchFileNumber = fileNumber;
    if (fetchFileId != -1) {
        return Close(fetchFileId, &DecodeDarlex::OnFetchClosed);
    }
    return Open(tables.files[fileNumber].path, &DecodeDarlex::OnFetchOpened, nullptr);
}

DecoderAction DecodeDarlex::OnFetchClosed(int32_t) {
    fetchFileId = -1;
    return Open(tables.files[fetchFileNumber].path, &DecodeDarlex::OnFetchOpened, nullptr);
}

DecoderAction DecodeDarlex::OnFetchOpened(int32_t fileId, uint64_t) {
    fetchFileId = fileId;
    if (fileId == -1) {
        fetchFileNumber = -1;
        return DecoderFailure();
    }
    return ReadFetchPart();
}

// What fits in this file is read; the rest is carried over to the start of the next file.
DecoderAction DecodeDarlex::ReadFetchPart() {
    uint64_t fileSize = tables.files[fetchFileNumber].size;
    uint32_t fits = fetchOffset < fileSize
                        ? static_cast<uint32_t>(std::min<uint64_t>(fetchLeft, fileSize - fetchOffset))
                        : 0;
    if (fits == 0) {
        return FetchFromNextFile();
    }
    fetchPart = fits;
    return TryRead(fetchFileId, fetchOffset, fits, &DecodeDarlex::OnFetchRead);
}

DecoderAction DecodeDarlex::OnFetchRead(bool ok, ByteView bytes) {
    if (ok && bytes.Size() == fetchPart) {
        std::memcpy(frameBuffer.Data() + fetchFilled, bytes.Data(), fetchPart);
    } else {
        fetchReadFailed = true;
    }
    fetchFilled += fetchPart;
    fetchLeft -= fetchPart;
    if (fetchLeft == 0) {
        imageGood = !fetchReadFailed;
        return DDA_COMPLETE;
    }
    return FetchFromNextFile();
}

// A frame cut off at the end of the last file is bad, but the decoder stays loaded.
DecoderAction DecodeDarlex::FetchFromNextFile() {
    if (fetchFileNumber + 1 >= static_cast<int32_t>(tables.files.size())) {
        imageGood = false;
        return DDA_COMPLETE;
    }
    fetchOffset = 0;
    return FetchFromFile(fetchFileNumber + 1);
}

// The recorder's field lacks the first half of the delimiter word the codec looks for; the field
// is decoded from the whole buffer.
bool DecodeDarlex::GetImage(int32_t bufferSize, uint8_t* buffer) {
    if (!imageGood) {
        Log(LogCore, "Bad image %d\n", fetchedFrame);
        return false;
    }
    if (bufferSize < ADV601Decoder::OutputSize(true) || frameBuffer.Capacity() < 2) {
        return false;
    }
    uint8_t* field = frameBuffer.Data();
    field[0] = 0xFF;
    field[1] = 0xFF;
    return fieldDecoder.Decode(true, false, field, static_cast<int32_t>(frameBuffer.Capacity()), buffer);
}

} // namespace Vorn::Vorncast::Decoders
