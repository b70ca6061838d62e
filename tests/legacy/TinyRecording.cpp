#include "legacy/TinyRecording.h"

#include <strings.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace LegacyTests {
namespace {

constexpr uint32_t HeaderBytes = 32;
constexpr uint32_t RecordHeadBytes = 20;

template <class T> void Put(std::string* bytes, T value) {
    bytes->append(reinterpret_cast<const char*>(&value), sizeof value);
}

uint32_t ByteSum(const uint8_t* bytes, size_t count) {
    uint32_t sum = 0;
    for (size_t index = 0; index < count; ++index) {
        sum += bytes[index];
    }
    return sum;
}

} // namespace

int64_t TimeAt(int32_t step) {
    return 632800000000000000 + int64_t{step} * 400000;
}

std::vector<uint8_t> TinyRecording::Payload(size_t index) const {
    const TinyRecord& record = records[index];
    if (record.kind == AudioRecord) {
        std::vector<uint8_t> block(static_cast<size_t>(audioBytes));
        for (size_t position = 0; position < block.size(); ++position) {
            block[position] = static_cast<uint8_t>(index * 5 + position * 3 + 2);
        }
        return block;
    }
    std::vector<uint8_t> picture(static_cast<size_t>(width * height * 3));
    for (int32_t y = 0; y < height; ++y) {
        for (int32_t x = 0; x < width; ++x) {
            uint8_t* pixel = &picture[static_cast<size_t>((y * width + x) * 3)];
            pixel[0] = static_cast<uint8_t>(x * 31 + index * 17);
            pixel[1] = static_cast<uint8_t>(y * 29 + record.camera * 40);
            pixel[2] = static_cast<uint8_t>((index * 7 + x + y * 3) | 1);
        }
    }
    return picture;
}

std::string TinyRecording::Bytes() const {
    std::string bytes = "TFR1";
    Put<uint16_t>(&bytes, static_cast<uint16_t>(width));
    Put<uint16_t>(&bytes, static_cast<uint16_t>(height));
    Put<uint16_t>(&bytes, static_cast<uint16_t>(tracks));
    Put<uint16_t>(&bytes, static_cast<uint16_t>(audioBytes));
    Put<uint32_t>(&bytes, static_cast<uint32_t>(records.size()));
    Put<uint32_t>(&bytes, static_cast<uint32_t>(sampleRate));
    Put<uint16_t>(&bytes, static_cast<uint16_t>(bitsPerSample));
    Put<uint16_t>(&bytes, static_cast<uint16_t>(channels));
    bytes.append(8, '\0');
    for (size_t index = 0; index < records.size(); ++index) {
        const TinyRecord& record = records[index];
        std::vector<uint8_t> payload = Payload(index);
        Put<uint8_t>(&bytes, record.kind);
        Put<uint8_t>(&bytes, record.track);
        Put<uint16_t>(&bytes, record.camera);
        Put<int64_t>(&bytes, record.time);
        Put<uint32_t>(&bytes, static_cast<uint32_t>(payload.size()));
        Put<uint32_t>(&bytes, ByteSum(payload.data(), payload.size()) + (record.damaged ? 1 : 0));
        bytes.append(payload.begin(), payload.end());
    }
    return bytes;
}

// ---- reading ----

void TinyRecordingDecoder::OpenName(char* name) const {
    std::memset(name, 0, MaxPathLength);
    std::snprintf(name, MaxPathLength, "%s", loadName);
}

bool TinyRecordingDecoder::ParseHeader() {
    const ByteView header = ReadBytes();
    if (!header.Matches(0, "TFR1")) {
        return false;
    }
    trackCount = std::max<int32_t>(header.U16LE(8), 1);
    audioFrameBytes = header.U16LE(10);
    recordCount = header.U32LE(12);
    audioSamplesPerSecond = static_cast<int32_t>(header.U32LE(16));
    audioBitsPerSample = header.U16LE(20);
    audioChannels = header.U16LE(22);
    SetImageFormat(header.U16LE(4), header.U16LE(6), 4, 3, true, static_cast<int32_t>(recordCount));
    return true;
}

bool TinyRecordingDecoder::IsExtension(const char* extension) {
    return strcasecmp(extension, "tfr") == 0;
}

DecoderAction TinyRecordingDecoder::QueryingCore() {
    queryStep = QueryStep::Header;
    return DDA_OPEN;
}

DecoderAction TinyRecordingDecoder::QueryingOpenComplete(int32_t fileId, uint64_t size) {
    if (fileId == -1) {
        return DecoderFailure();
    }
    file = fileId;
    fileOpen = true;
    return size < HeaderBytes ? DDA_CLOSE : Read(file, 0, HeaderBytes);
}

DecoderAction TinyRecordingDecoder::QueryingReadComplete(int32_t, bool ok) {
    if (!ok) {
        return DDA_CLOSE;
    }
    if (queryStep == QueryStep::FirstRecordHead) {
        int64_t first = ReadBytes().I64LE(4);
        SetTimeSpan(first, first);
        return DDA_CLOSE;
    }
    if (!ParseHeader()) {
        return DDA_CLOSE;
    }
    queryConfidence = 100;
    if (recordCount == 0) {
        return DDA_CLOSE;
    }
    queryStep = QueryStep::FirstRecordHead;
    return Read(file, HeaderBytes, RecordHeadBytes);
}

DecoderAction TinyRecordingDecoder::QueryingCloseComplete(int32_t) {
    fileOpen = false;
    return DDA_COMPLETE;
}

DecoderAction TinyRecordingDecoder::LoadingCore() {
    pictures.assign(1, {});
    sound.clear();
    listed.clear();
    loadStep = LoadStep::Header;
    return DDA_LIST_FILES;
}

void TinyRecordingDecoder::LoadingGetListPath(char* directory, char* pattern, int32_t* depth) {
    std::memset(directory, 0, MaxPathLength);
    std::memset(pattern, 0, MaxPathLength);
    const char* slash = std::strrchr(loadName, '/');
    size_t length = slash != nullptr ? static_cast<size_t>(slash - loadName) : 0;
    std::memcpy(directory, loadName, length);
    std::strcpy(pattern, "*.tfr");
    *depth = 0;
}

DecoderAction TinyRecordingDecoder::LoadingFileListComplete(bool ok, FileList& fileList) {
    for (int32_t index = 0; ok && index < fileList.Count(); ++index) {
        listed.emplace_back(fileList.GetAt(index));
    }
    return DDA_OPEN;
}

DecoderAction TinyRecordingDecoder::LoadingOpenComplete(int32_t fileId, uint64_t size) {
    if (fileId == -1 || size == 0) {
        Log(0, "TinyRecordingDecoder::LoadingOpenComplete failed with bad fileId or fileSize\n");
        return DecoderFailure();
    }
    file = fileId;
    fileOpen = true;
    fileSize = size;
    loadStep = LoadStep::Header;
    return Read(file, 0, HeaderBytes);
}

DecoderAction TinyRecordingDecoder::LoadingReadComplete(int32_t, bool ok) {
    if (!ok) {
        return DecoderFailure();
    }
    return loadStep == LoadStep::Header ? ReadHeader() : ReadRecordHead();
}

DecoderAction TinyRecordingDecoder::ReadHeader() {
    if (!ParseHeader()) {
        Log(0, "TinyRecordingDecoder::LoadingReadComplete failed with bad magic\n");
        return DecoderFailure();
    }
    pictures.assign(static_cast<size_t>(trackCount), {});
    nextRecord = HeaderBytes;
    recordsLeft = recordCount;
    loadStep = LoadStep::RecordHead;
    return recordsLeft == 0 ? FinishLoad() : Read(file, nextRecord, RecordHeadBytes);
}

DecoderAction TinyRecordingDecoder::ReadRecordHead() {
    const ByteView head = ReadBytes();
    uint8_t track = head.U8(1);
    Entry entry{head.I64LE(4), nextRecord + RecordHeadBytes, head.U32LE(12), head.U16LE(2), head.U32LE(16)};
    if (head.U8(0) == AudioRecord) {
        sound.push_back(entry);
    } else if (track < trackCount) {
        pictures[track].push_back(entry);
    }
    nextRecord = entry.offset + entry.size;
    --recordsLeft;
    ReportProgress(static_cast<double>(recordCount - recordsLeft) / recordCount);
    return recordsLeft == 0 ? FinishLoad() : Read(file, nextRecord, RecordHeadBytes);
}

DecoderAction TinyRecordingDecoder::FinishLoad() {
    currentTrack = 0;
    totalTracks = trackCount > 1 ? trackCount : 0;
    SetImageFormat(imageWidth, imageHeight, 4, 3, true, static_cast<int32_t>(Pictures().size()));
    totalAudioFrames = static_cast<int32_t>(sound.size());
    hasAudio = audioFrameBytes > 0 && !sound.empty();
    if (!Pictures().empty()) {
        SetTimeSpan(Pictures().front().time, Pictures().back().time);
    }
    return DDA_COMPLETE;
}

DecoderAction TinyRecordingDecoder::PositioningCore() {
    ++positioningCalls;
    bool inRange = currentFrame >= 0 && static_cast<size_t>(currentFrame) < Pictures().size();
    return inRange ? DDA_COMPLETE : DecoderFailure();
}

DecoderAction TinyRecordingDecoder::DecompressingCore() {
    ++decompressCalls;
    pictureReady = false;
    if (currentFrame == brokenFrame) {
        return DDA_NO_DECODER;
    }
    const Entry& entry = Pictures()[static_cast<size_t>(currentFrame)];
    return Read(file, entry.offset, entry.size);
}

bool TinyRecordingDecoder::PayloadIsSound(const Entry& entry) const {
    return ByteSum(readBuffer.data(), entry.size) == entry.checksum;
}

DecoderAction TinyRecordingDecoder::DecompressingReadComplete(int32_t, bool ok) {
    const Entry& entry = Pictures()[static_cast<size_t>(currentFrame)];
    if (!ok || !PayloadIsSound(entry)) {
        Log(0, "TinyRecordingDecoder::DecompressingReadComplete damaged frame\n");
        return DecoderFailure();
    }
    pictureReady = true;
    return DDA_COMPLETE;
}

DecoderAction TinyRecordingDecoder::DecompressingAudioCore() {
    ++audioDecompressCalls;
    soundReady = false;
    const Entry& entry = sound[static_cast<size_t>(currentAudioFrame)];
    return Read(file, entry.offset, entry.size);
}

DecoderAction TinyRecordingDecoder::DecompressingAudioReadComplete(int32_t, bool ok) {
    if (!ok || !PayloadIsSound(sound[static_cast<size_t>(currentAudioFrame)])) {
        return DecoderFailure();
    }
    soundReady = true;
    return DDA_COMPLETE;
}

bool TinyRecordingDecoder::GetImage(int32_t bufferSize, uint8_t* buffer) {
    size_t need = static_cast<size_t>(imageWidth * imageHeight * 3);
    if (!pictureReady || static_cast<size_t>(bufferSize) < need || readSize < need) {
        return false;
    }
    std::memcpy(buffer, readBuffer.data(), need);
    return true;
}

bool TinyRecordingDecoder::GetAudio(int32_t size, uint8_t* buffer) {
    if (!soundReady || size < audioFrameBytes) {
        return false;
    }
    std::memcpy(buffer, readBuffer.data(), std::min<size_t>(readSize, static_cast<size_t>(audioFrameBytes)));
    return true;
}

DecoderAction TinyRecordingDecoder::UnloadingCloseComplete(int32_t) {
    fileOpen = false;
    return DDA_COMPLETE;
}

DecoderAction TinyRecordingDecoder::FailingCloseComplete(int32_t) {
    fileOpen = false;
    return DecoderFailure();
}

// ---- the index ----

namespace {

template <class Entries> int32_t NextOf(const Entries& entries, int32_t frame, int32_t filter) {
    for (int32_t index = std::max(frame + 1, 0); index < static_cast<int32_t>(entries.size()); ++index) {
        if (filter < 0 || entries[static_cast<size_t>(index)].camera == filter) {
            return index;
        }
    }
    return -1;
}

template <class Entries> int32_t PreviousOf(const Entries& entries, int32_t frame, int32_t filter) {
    for (int32_t index = std::min(frame - 1, static_cast<int32_t>(entries.size()) - 1); index >= 0; --index) {
        if (filter < 0 || entries[static_cast<size_t>(index)].camera == filter) {
            return index;
        }
    }
    return -1;
}

template <class Entries> int32_t AtOrBefore(const Entries& entries, int64_t time) {
    auto after = std::upper_bound(entries.begin(), entries.end(), time,
                                  [](int64_t value, const auto& entry) { return value < entry.time; });
    return static_cast<int32_t>(after - entries.begin()) - 1;
}

} // namespace

int32_t TinyRecordingDecoder::GetNextFrame(int32_t frame, int32_t filter) {
    ++walks;
    return NextOf(Pictures(), frame, filter);
}

int32_t TinyRecordingDecoder::GetPreviousFrame(int32_t frame, int32_t filter) {
    ++walks;
    return PreviousOf(Pictures(), frame, filter);
}

int32_t TinyRecordingDecoder::GetNextAudioFrame(int32_t frame, int32_t filter) {
    return NextOf(sound, frame, filter);
}

int32_t TinyRecordingDecoder::GetPreviousAudioFrame(int32_t frame, int32_t filter) {
    return PreviousOf(sound, frame, filter);
}

int32_t TinyRecordingDecoder::IndexOfFrameAtStreamTime(int64_t streamTime) {
    return AtOrBefore(Pictures(), streamTime);
}

int32_t TinyRecordingDecoder::IndexOfAudioFrameAtStreamTime(int64_t streamTime) {
    return AtOrBefore(sound, streamTime);
}

void TinyRecordingDecoder::GetCameras(uint8_t* mask) {
    std::memset(mask, 0, CameraMaskBytes);
    for (const Entry& entry : Pictures()) {
        mask[entry.camera / 8] = static_cast<uint8_t>(mask[entry.camera / 8] | (1u << (entry.camera % 8)));
    }
}

bool TinyRecordingDecoder::GetTrackInfo(int32_t track, char* name, FrameTimes* first, FrameTimes* last,
                                        int32_t* frames, bool* trackHasAudio) {
    if (track < 0 || track >= trackCount) {
        return BaseDecoder::GetTrackInfo(track, name, first, last, frames, trackHasAudio);
    }
    const std::vector<Entry>& entries = pictures[static_cast<size_t>(track)];
    std::snprintf(name, TrackNameLength, "Track %d", track);
    *first = FrameTimes{};
    *last = FrameTimes{};
    if (!entries.empty()) {
        first->recordedTime = first->streamTime = entries.front().time;
        last->recordedTime = last->streamTime = entries.back().time;
    }
    *frames = static_cast<int32_t>(entries.size());
    *trackHasAudio = !sound.empty();
    return true;
}

FrameTimes TinyRecordingDecoder::GetFrameTimes() {
    FrameTimes times{};
    if (currentFrame >= 0 && static_cast<size_t>(currentFrame) < Pictures().size()) {
        times.recordedTime = times.streamTime = Pictures()[static_cast<size_t>(currentFrame)].time;
    }
    return times;
}

FrameTimes TinyRecordingDecoder::GetAudioFrameTimes() {
    FrameTimes times{};
    if (currentAudioFrame >= 0 && static_cast<size_t>(currentAudioFrame) < sound.size()) {
        times.recordedTime = times.streamTime = sound[static_cast<size_t>(currentAudioFrame)].time;
        // A recorder's zone flag as some formats store it, a byte other than 1.
        times.zoneKnown = 7;
    }
    return times;
}

void TinyRecordingDecoder::GetFrameCamera(CameraTag* camera) {
    std::memset(camera, 0, sizeof *camera);
    if (currentFrame >= 0 && static_cast<size_t>(currentFrame) < Pictures().size()) {
        camera->number = Pictures()[static_cast<size_t>(currentFrame)].camera;
    }
    std::snprintf(camera->name, sizeof camera->name, "Camera %u", static_cast<unsigned>(camera->number));
}

void TinyRecordingDecoder::GetAudioFrameCamera(CameraTag* camera) {
    std::memset(camera, 0, sizeof *camera);
    std::snprintf(camera->name, sizeof camera->name, "Microphone");
}

} // namespace LegacyTests
