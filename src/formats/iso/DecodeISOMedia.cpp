#include "formats/iso/DecodeISOMedia.h"

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
// Pictures above this many bytes are refused everywhere in the library.
constexpr int64_t LargestPicture = 0x8FFFFFF;
constexpr int32_t AmrFrameOutputBytes = 320;

const DecodeISOMedia::LoadTexts IsoMediaTexts = {
    "DecodeISOMedia LoadingReadComplete failed while loading\n",
    {"DecodeISOMedia Box ends after file 1\n", "DecodeISOMedia Box ends after file 2\n"},
    "DecodeISOMedia Bad movie box\n",
    "DecodeISOMedia bad file type box\n",
    "DecodeISOMedia LoadingReadComplete with bad loading state\n",
};

} // namespace

DecodeISOMedia::DecodeISOMedia(ISOMediaFile* movie) : movie(movie) {
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

const char* DecodeISOMedia::GetExtensions(int32_t* count) {
    if (count != nullptr) {
        *count = 0;
    }
    return "";
}

const DecodeISOMedia::LoadTexts& DecodeISOMedia::Texts() const {
    return IsoMediaTexts;
}

void DecodeISOMedia::Reset() {
    movie->Clear();
    fileId = -1;
    fileSize = 0;
    readBuffer.Free();
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
    return DDA_OPEN;
}

void DecodeISOMedia::LoadingGetOpenName(char* name) {
    std::memcpy(name, loadName, MaxPathLength);
}

DecoderAction DecodeISOMedia::LoadingOpenComplete(int32_t id, uint64_t size) {
    if (id == -1) {
        Log(0, "DecodeISOMedia File open failed\n");
        return DecoderFailure();
    }
    fileId = id;
    fileSize = size;
    if (size < BoxHeaderSize) {
        Log(0, "DecodeISOMedia File too small for even one box\n");
        return DecoderFailure();
    }
    firstReadSize = static_cast<uint32_t>(std::min<uint64_t>(FirstReadSize, size));
    if (!readBuffer.Grow(FirstReadSize)) {
        return DecoderFailure();
    }
    loadingState = LS_FIRST_READ;
    return DDA_READ;
}

void DecodeISOMedia::LoadingGetReadParameters(int32_t* id, uint64_t* offset, uint32_t* size,
                                              uint8_t** buffer) {
    *id = fileId;
    *buffer = readBuffer.Data();
    switch (loadingState) {
    case LS_FIRST_READ:
        *offset = 0;
        *size = firstReadSize;
        return;
    case LS_BOX_HEADER:
    case LS_LARGE_SIZE:
        *offset = position;
        *size = BoxHeaderSize;
        return;
    case LS_MOVIE:
    case LS_FILE_TYPE:
    case LS_FREE:
        *offset = position;
        *size = static_cast<uint32_t>(boxSize - headerSize);
        return;
    default:
        Log(0, "DecodeISOMedia GetReadParameters with bad loading state\n");
        *id = -1;
        *offset = 0;
        *size = 0;
        *buffer = nullptr;
        return;
    }
}

DecoderAction DecodeISOMedia::LoadingReadComplete(int32_t, bool ok) {
    if (!ok) {
        Log(0, "%s", Texts().readFailed);
        return DecoderFailure();
    }
    switch (loadingState) {
    case LS_FIRST_READ:
        if (!IsValidHeader(readBuffer.Data(), firstReadSize)) {
            return DecoderFailure();
        }
        position = 0;
        loadingState = LS_BOX_HEADER;
        return DDA_READ;
    case LS_BOX_HEADER:
        return ReadBoxHeader();
    case LS_LARGE_SIZE:
        boxSize = ByteView(readBuffer.Data(), BoxHeaderSize).U64BE(0);
        headerSize = LargeHeaderSize;
        return WalkBox(LS_LARGE_SIZE);
    case LS_MOVIE:
    case LS_FILE_TYPE:
    case LS_FREE:
        return ParseBoxPayload();
    default:
        Log(0, "%s", Texts().badState);
        return DecoderFailure();
    }
}

DecoderAction DecodeISOMedia::ReadBoxHeader() {
    ByteView header(readBuffer.Data(), BoxHeaderSize);
    const uint32_t size = header.U32BE(0);
    boxType = header.U32BE(4);
    position += BoxHeaderSize;
    headerSize = BoxHeaderSize;
    if (size == LargeSizeMarker) {
        // The 64-bit size is read from where the payload would begin, and the position stays there:
        // the box is then taken to start 8 bytes later than it does.
        loadingState = LS_LARGE_SIZE;
        return DDA_READ;
    }
    boxSize = size == ToEndOfFile ? fileSize - (position - BoxHeaderSize) : size;
    return WalkBox(LS_BOX_HEADER);
}

DecoderAction DecodeISOMedia::WalkBox(int32_t fromState) {
    if (boxSize < headerSize || boxSize - headerSize > fileSize - position) {
        Log(0, "%s", Texts().endsAfterFile[fromState - 1]);
        return DecoderFailure();
    }
    if (RefusesBox(boxType, fromState)) {
        return DecoderFailure();
    }
    boxEnd = position + (boxSize - headerSize);
    switch (boxType) {
    case IsoBox::Moov:
        return ReadBoxPayload(LS_MOVIE);
    case IsoBox::Ftyp:
        return ReadBoxPayload(LS_FILE_TYPE);
    case IsoBox::Free:
        return ReadBoxPayload(LS_FREE);
    default:
        return NextBox();
    }
}

DecoderAction DecodeISOMedia::ReadBoxPayload(int32_t payloadState) {
    ReportPosition();
    if (!readBuffer.Grow(static_cast<size_t>(boxSize - headerSize))) {
        return DecoderFailure();
    }
    loadingState = payloadState;
    return DDA_READ;
}

DecoderAction DecodeISOMedia::ParseBoxPayload() {
    const uint8_t* payload = readBuffer.Data();
    const size_t length = static_cast<size_t>(boxSize - headerSize);
    if (loadingState == LS_MOVIE) {
        BeforeMovieBox();
        if (!movie->ParseMovieBox(payload, length)) {
            Log(0, "%s", Texts().badMovie);
            return DecoderFailure();
        }
        videoTrack = movie->GetTrack(0);
    } else if (loadingState == LS_FILE_TYPE) {
        if (!movie->ParseFileTypeBox(payload, length)) {
            Log(0, "%s", Texts().badFileType);
            return DecoderFailure();
        }
    } else {
        ParseFreeBox(ByteView(payload, length));
    }
    return NextBox();
}

DecoderAction DecodeISOMedia::NextBox() {
    position = boxEnd;
    if (position > fileSize || fileSize - position < BoxHeaderSize) {
        return FinishLoading();
    }
    ReportPosition();
    loadingState = LS_BOX_HEADER;
    return DDA_READ;
}

void DecodeISOMedia::ReportPosition() {
    ReportProgress(static_cast<double>(position) / static_cast<double>(fileSize));
}

DecoderAction DecodeISOMedia::FinishLoading() {
    if (movie->GetTrackCount() == 0) {
        Log(0, "DecodeISOMedia No track present\n");
        return DecoderFailure();
    }
    FindTracks();
    totalFrames = static_cast<int32_t>(videoTrack->GetSampleCount());
    totalAudioFrames = audioTrack != nullptr ? static_cast<int32_t>(audioTrack->GetSampleCount()) : 0;
    if (totalFrames < 1) {
        Log(0, "DecodeISOMedia No images int file\n");
        return DecoderFailure();
    }
    imageWidth = videoTrack->GetVisualWidth(0);
    imageHeight = videoTrack->GetVisualHeight(0);
    SetAspectRatio();
    SetTimeSpan(GetFirstTimes(), GetLastTimes());
    if (!MakePictureBuffer()) {
        Log(0, "DecodeISOMedia Picture size out of range\n");
        return DecoderFailure();
    }
    colour = true;
    // A sample larger than the file cannot be read whole, so the buffer need not hold it.
    if (!readBuffer.Grow(
            static_cast<size_t>(std::min<uint64_t>(videoTrack->GetLargestSampleSize(), fileSize)))) {
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
    if (bytes > LargestPicture) {
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
        Log(1, "%s", texts.mp4v);
        started = StartVideo(mpeg4Adapter, config, configSize);
    } else if (format == IsoBox::H263 && texts.h263 != nullptr) {
        Log(1, "%s", texts.h263);
        started = StartVideo(h263Adapter, nullptr, 0);
    } else if (format == IsoBox::Avc1 && texts.h264 != nullptr) {
        // An "avc1" entry has a configuration only from an "esds", which it hardly ever has: the
        // parameter sets then come in-band.
        Log(1, "%s", texts.h264);
        started = StartVideo(h264Adapter, config, configSize);
    } else {
        return DDA_FAILED;
    }
    if (!started) {
        Log(0, "%s", texts.failed);
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
            Log(1, "%s", texts.samr);
            StartAudio(amrAdapter);
        } else if (chosen == IsoBox::Mp4a) {
            Log(1, "%s", texts.mp4a);
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

// ---- unloading and failing: close the file that stays open from the load on ----

DecoderAction DecodeISOMedia::UnloadingCore() {
    if (activeVideo != nullptr) {
        activeVideo->Close();
    }
    activeVideo = nullptr;
    return DDA_CLOSE;
}

DecoderAction DecodeISOMedia::UnloadingCloseComplete(int32_t) {
    Reset();
    return DDA_COMPLETE;
}

DecoderAction DecodeISOMedia::FailingCore() {
    return fileId != -1 ? DDA_CLOSE : DDA_NO_ACTION;
}

DecoderAction DecodeISOMedia::FailingCloseComplete(int32_t) {
    fileId = -1;
    return DecoderFailure();
}

} // namespace Vorn::Vorncast::Decoders
