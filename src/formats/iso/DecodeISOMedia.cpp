#include "formats/iso/DecodeISOMedia.h"
#include "model/support/Limits.h"

#include "formats/iso/IsoBoxTypes.h"
#include "formats/iso/IsoTimes.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr uint32_t LargeSizeMarker = 1;
constexpr uint32_t ToEndOfFile = 0;
constexpr uint32_t LargeHeaderSize = 16;
constexpr int32_t BytesPerPixel = 3;
constexpr int32_t AmrFrameOutputBytes = 320;

const DecodeISOMedia::LoadTexts IsoMediaTexts = {
    "DecodeISOMedia LoadingReadComplete failed while loading\n",
    {"DecodeISOMedia Box ends after file 1\n", "DecodeISOMedia Box ends after file 2\n"},
    "DecodeISOMedia Bad movie box\n",
    "DecodeISOMedia bad file type box\n",
};

} // namespace

const TypeStep<DecodeISOMedia::BoxStep> DecodeISOMedia::TopLevelBoxes[] = {
    {IsoBox::Moov, &DecodeISOMedia::OnMovie},
    {IsoBox::Ftyp, &DecodeISOMedia::OnFileType},
    {IsoBox::Free, &DecodeISOMedia::OnFree},
};

DecodeISOMedia::DecodeISOMedia(const DecoderRow& row, ISOMediaFile* movie)
    : FormatDecoder(row), movie(movie) {
    randomAccessFlag = 1;
    frameAccurateFlag = 1;
    hasAudio = false;
    audioSamplesPerSecond = IppDecoderAMRAudio::SampleRate;
    audioChannels = 1;
    audioBitsPerSample = 16;
    this->movie->SetLog({LogFromParser, this});
}

DecodeISOMedia::~DecodeISOMedia() = default;

void DecodeISOMedia::LogFromParser(void* context, int32_t severity, const char* text) {
    static_cast<DecodeISOMedia*>(context)->Log(severity, "%s", text);
}

const DecodeISOMedia::LoadTexts& DecodeISOMedia::Texts() const {
    return IsoMediaTexts;
}

void DecodeISOMedia::ForgetRecording() {
    movie->Clear();
    fileId = -1;
    fileSize = 0;
    picture.reset();
    pictureSize = 0;
    audioBuffer.reset();
    audioBufferSize = 0;
    nextVideoSample = -1;
    lastVideoSample = -1;
    nextAudioSample = -1;
    lastAudioSample = -1;
    currentInfo = {};
    currentAudioInfo = {};
    currentDescription = 0;
    videoTrack = nullptr;
    audioTrack = nullptr;
    activeVideo = nullptr;
    activeAudio = nullptr;
    amrAdapter.Close();
    aacAdapter.Close();
    hasAudio = false;
    audioFrameBytes = 0;
}

FrameTimes DecodeISOMedia::GetFirstTimes() {
    FrameTimes times = {};
    times.recordedTime = TrackTime(videoTrack, 0);
    times.streamTime = times.recordedTime;
    return times;
}

FrameTimes DecodeISOMedia::GetLastTimes() {
    FrameTimes times = {};
    const int64_t movieTicks =
        TicksFromMediaUnits(static_cast<int64_t>(movie->GetDuration()), movie->GetTimescale());
    times.recordedTime = TrackTime(videoTrack, movieTicks);
    times.streamTime = times.recordedTime;
    return times;
}

int64_t DecodeISOMedia::TrackTime(const ISOMediaTrack* track, int64_t ticks) {
    return track != nullptr ? SaturatingAdd(track->creationTime, ticks) : ticks;
}

void DecodeISOMedia::SetAspectRatio() {
    aspectX = imageWidth;
    aspectY = imageHeight;
}

bool DecodeISOMedia::IsValidHeader(const uint8_t* bytes, uint32_t size) {
    ByteView header(bytes, size);
    return !header.Matches(0, "4HKH") && !header.Matches(16, "VSES");
}

// ---- loading: the walk over the top-level boxes ----

DecoderAction DecodeISOMedia::LoadingCore() {
    // One decoder object serves every load of the process: nothing of an earlier file stays.
    Reset();
    return Open(loadName, &DecodeISOMedia::OnOpened, nullptr);
}

DecoderAction DecodeISOMedia::OnOpened(int32_t id, uint64_t size) {
    if (id == -1) {
        return Fail("DecodeISOMedia File open failed\n");
    }
    fileId = id;
    fileSize = size;
    if (size < BoxHeaderSize) {
        return Fail("DecodeISOMedia File too small for even one box\n");
    }
    return Read(fileId, 0, static_cast<uint32_t>(std::min<uint64_t>(FirstReadSize, size)),
                &DecodeISOMedia::OnFirstRead, Texts().readFailed);
}

DecoderAction DecodeISOMedia::OnFirstRead(ByteView bytes) {
    if (!IsValidHeader(bytes.Data(), static_cast<uint32_t>(bytes.Size()))) {
        return DecoderFailure();
    }
    position = 0;
    return ReadBoxHeader();
}

DecoderAction DecodeISOMedia::ReadBoxHeader() {
    return Read(fileId, position, BoxHeaderSize, &DecodeISOMedia::OnBoxHeader, Texts().readFailed);
}

DecoderAction DecodeISOMedia::OnBoxHeader(ByteView header) {
    ByteReader r(header);
    const uint32_t size = r.U32BE();
    boxType = r.U32BE();
    position += BoxHeaderSize;
    headerSize = BoxHeaderSize;
    if (size == LargeSizeMarker) {
        // The 64-bit size is read from where the payload would begin, and the position stays there:
        // the box is then taken to start 8 bytes later than it does.
        return Read(fileId, position, BoxHeaderSize, &DecodeISOMedia::OnLargeSize, Texts().readFailed);
    }
    boxSize = size == ToEndOfFile ? fileSize - (position - BoxHeaderSize) : size;
    return WalkBox(1);
}

DecoderAction DecodeISOMedia::OnLargeSize(ByteView size) {
    boxSize = size.U64BE(0);
    headerSize = LargeHeaderSize;
    return WalkBox(2);
}

// The boxes the family reads are read whole; all others are passed over.
DecoderAction DecodeISOMedia::WalkBox(int32_t fromState) {
    if (boxSize < headerSize || boxSize - headerSize > fileSize - position) {
        return Fail("%s", Texts().endsAfterFile[fromState - 1]);
    }
    if (RefusesBox(boxType, fromState)) {
        return DecoderFailure();
    }
    boxEnd = position + (boxSize - headerSize);
    BoxStep step = nullptr;
    if (!DispatchByType(TopLevelBoxes, boxType, [&step](BoxStep known) { step = known; })) {
        return NextBox();
    }
    ReportPosition();
    if (boxSize - headerSize > ReadBuffer::MaxCapacity) {
        return DecoderFailure();
    }
    return Read(fileId, position, static_cast<uint32_t>(boxSize - headerSize), step, Texts().readFailed);
}

DecoderAction DecodeISOMedia::OnMovie(ByteView payload) {
    BeforeMovieBox();
    if (!movie->ParseMovieBox(payload.Data(), payload.Size())) {
        return Fail("%s", Texts().badMovie);
    }
    videoTrack = movie->GetTrack(0);
    return NextBox();
}

DecoderAction DecodeISOMedia::OnFileType(ByteView payload) {
    if (!movie->ParseFileTypeBox(payload.Data(), payload.Size())) {
        return Fail("%s", Texts().badFileType);
    }
    return NextBox();
}

DecoderAction DecodeISOMedia::OnFree(ByteView payload) {
    ParseFreeBox(payload);
    return NextBox();
}

DecoderAction DecodeISOMedia::NextBox() {
    position = boxEnd;
    if (position > fileSize || fileSize - position < BoxHeaderSize) {
        return FinishLoading();
    }
    ReportPosition();
    return ReadBoxHeader();
}

void DecodeISOMedia::ReportPosition() {
    ReportProgress(static_cast<double>(position) / static_cast<double>(fileSize));
}

DecoderAction DecodeISOMedia::FinishLoading() {
    if (movie->GetTrackCount() == 0) {
        return Fail("DecodeISOMedia No track present\n");
    }
    FindTracks();
    totalFrames = static_cast<int32_t>(videoTrack->GetSampleCount());
    totalAudioFrames = audioTrack != nullptr ? static_cast<int32_t>(audioTrack->GetSampleCount()) : 0;
    if (totalFrames < 1) {
        return Fail("DecodeISOMedia No images int file\n");
    }
    imageWidth = videoTrack->GetVisualWidth(0);
    imageHeight = videoTrack->GetVisualHeight(0);
    SetAspectRatio();
    SetTimeSpan(GetFirstTimes(), GetLastTimes());
    if (!MakePictureBuffer()) {
        return Fail("DecodeISOMedia Picture size out of range\n");
    }
    colour = true;
    // A sample larger than the file cannot be read whole, so the buffer need not hold it.
    if (!readBuffer.Resize(
            static_cast<uint32_t>(std::min<uint64_t>(videoTrack->GetLargestSampleSize(), fileSize)))) {
        return DecoderFailure();
    }
    currentInfo = videoTrack->GetSampleInfo(currentFrame);
    currentDescription = currentInfo.descriptionIndex;
    if (audioTrack != nullptr && !MakeAudioBuffer()) {
        // Only AMR gives the audio a frame size: a file with other audio does not load.
        ReportProgress(1.0);
        return DecoderFailure();
    }
    const DecoderAction action = SetCodec();
    ReportProgress(1.0);
    return action == DDA_FAILED ? DecoderFailure() : action;
}

void DecodeISOMedia::FindTracks() {
    for (int32_t index = 0; index < movie->GetTrackCount(); ++index) {
        ISOMediaTrack* track = movie->GetTrack(index);
        if (track->GetMediaKind() == IsoBox::Vmhd) {
            videoTrack = track;
        } else if (track->GetMediaKind() == IsoBox::Smhd) {
            audioTrack = track;
            hasAudio = true;
        }
    }
}

bool DecodeISOMedia::MakePictureBuffer() {
    const int64_t bytes = int64_t{imageWidth} * imageHeight * BytesPerPixel;
    if (bytes > MaxPictureBytes) {
        return false;
    }
    pictureSize = static_cast<int32_t>(bytes);
    picture.reset(new uint8_t[static_cast<size_t>(pictureSize)]);
    std::memset(picture.get(), UndecodedFill, static_cast<size_t>(pictureSize));
    return true;
}

bool DecodeISOMedia::MakeAudioBuffer() {
    audioFrameBytes = ComputeAudioFrameBytes();
    if (audioFrameBytes == 0) {
        return false;
    }
    audioBufferSize = audioFrameBytes;
    audioBuffer.reset(new uint8_t[static_cast<size_t>(audioBufferSize)]);
    std::memset(audioBuffer.get(), UndecodedFill, static_cast<size_t>(audioBufferSize));
    return true;
}

int32_t DecodeISOMedia::ComputeAudioFrameBytes() const {
    if (audioTrack->GetSampleFormat(currentDescription) != IsoBox::Samr) {
        return 0;
    }
    AmrDecoderConfig amr = {};
    int32_t length = 0;
    audioTrack->GetAudioConfig(currentDescription, reinterpret_cast<uint8_t*>(&amr), sizeof amr, &length);
    return amr.framesPerSample * AmrFrameOutputBytes;
}

DecoderAction DecodeISOMedia::StartPhoneVideo(const ISOMediaTrack* track, const CodecTexts& texts) {
    const uint8_t* config = nullptr;
    int32_t configSize = 0;
    track->GetDecoderConfig(currentDescription, &config, &configSize);
    bool started = false;
    const uint32_t format = track->GetSampleFormat(currentDescription);
    if (format == IsoBox::Mp4v && texts.mp4v != nullptr) {
        Log(LogEvent, "%s", texts.mp4v);
        started = StartVideo(mpeg4Adapter, config, configSize);
    } else if (format == IsoBox::H263 && texts.h263 != nullptr) {
        Log(LogEvent, "%s", texts.h263);
        started = StartVideo(h263Adapter, nullptr, 0);
    } else if (format == IsoBox::Avc1 && texts.h264 != nullptr) {
        // An "avc1" entry has a configuration only from an "esds", which it hardly ever has: the
        // parameter sets then come in-band.
        Log(LogEvent, "%s", texts.h264);
        started = StartVideo(h264Adapter, config, configSize);
    } else {
        return DDA_FAILED;
    }
    if (!started) {
        Log(LogCore, "%s", texts.failed);
        return DDA_FAILED;
    }
    return DDA_COMPLETE;
}

uint32_t DecodeISOMedia::StartPhoneAudio(const CodecTexts& texts) {
    uint32_t chosen = 0;
    for (int32_t index = 0; index < movie->GetTrackCount(); ++index) {
        const ISOMediaTrack* track = movie->GetTrack(index);
        if (track->GetMediaKind() != IsoBox::Smhd) {
            continue;
        }
        activeAudio = nullptr;
        chosen = track->GetSampleFormat(currentDescription);
        if (chosen == IsoBox::Samr) {
            Log(LogEvent, "%s", texts.samr);
            StartAudio(amrAdapter);
        } else if (chosen == IsoBox::Mp4a) {
            Log(LogEvent, "%s", texts.mp4a);
            StartAudio(aacAdapter);
        } else {
            chosen = 0;
        }
    }
    return chosen;
}

bool DecodeISOMedia::StartVideo(IppDecoder& adapter, const uint8_t* config, int32_t configSize) {
    activeVideo = &adapter;
    return adapter.Initialise(imageWidth, imageHeight, BytesPerPixel, false, config, configSize);
}

bool DecodeISOMedia::StartAudio(IppAudioDecoder& adapter) {
    if (!adapter.Initialise()) {
        return false;
    }
    activeAudio = &adapter;
    return true;
}

// ---- unloading: the video codec goes with the recording ----

DecoderAction DecodeISOMedia::UnloadingCore() {
    ReleaseVideo();
    return FormatDecoder::UnloadingCore();
}

void DecodeISOMedia::ReleaseVideo() {
    if (activeVideo != nullptr) {
        activeVideo->Release();
    }
    activeVideo = nullptr;
}

} // namespace Vorn::Vorncast::Decoders
