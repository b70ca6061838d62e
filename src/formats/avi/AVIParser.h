#pragma once

#include "core/binary/ByteView.h"
#include "core/binary/FourCC.h"
#include "core/framelists/TimeList.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace Vorn::Vorncast::Decoders {

// A frame of an AVI file set: the standard head, then where the index put it.
struct AVIMultiFileFrameInfo : FrameInfo {
    uint32_t chunkId;    // the chunk's code as the index gives it
    uint32_t indexFlags; // AviKeyFrameFlag marks a key frame
    int32_t fileIndex;   // into the decoder's file list
    int32_t cameraIndex; // into the decoder's per-camera data, -1 until known
    int32_t frameInFile; // the frame's place within its stream in its file
};
class AVIMultiFileFrameInfoList : public BaseFrameInfoList<AVIMultiFileFrameInfo> {};

constexpr uint32_t AviKeyFrameFlag = 0x10;
constexpr uint32_t AviHasIndexFlag = 0x10;

// avih: the main header, 56 bytes.
struct AviMainHeader {
    uint32_t microSecPerFrame;
    uint32_t maxBytesPerSec;
    uint32_t paddingGranularity;
    uint32_t flags;
    uint32_t totalFrames;
    uint32_t initialFrames;
    uint32_t streams;
    uint32_t suggestedBufferSize;
    uint32_t width;
    uint32_t height;
};

// strh with its chunk head: 64 bytes.
struct AviStreamHeader {
    uint32_t fcc;
    uint32_t cb;
    uint32_t fccType;
    uint32_t fccHandler;
    uint32_t flags;
    uint16_t priority;
    uint16_t language;
    uint32_t initialFrames;
    uint32_t scale;
    uint32_t rate;
    uint32_t start;
    uint32_t length;
    uint32_t suggestedBufferSize;
    uint32_t quality;
    uint32_t sampleSize;
    int16_t frame[4];

    static AviStreamHeader Read(ByteView bytes);
};

// One stream of a file: its type, format bytes, header and the chunks the index gives it.
struct StreamInfo {
    uint32_t type = 0; // "vids", "auds", "iavs", "txts", ...
    std::vector<uint8_t> format;
    AVIMultiFileFrameInfoList frames;
    int32_t frameCount = 0;
    AviStreamHeader header = {};
};

// What the parser asks for next: `size` bytes at `offset`, or one of the two ends.
struct AviParseRequest {
    int64_t offset;
    int32_t size;
    int32_t state;
};

// Walks the RIFF structure of an AVI file one read at a time: each step receives the bytes of the
// read it asked for last and names the next one. The walk reads the headers of every stream and
// then the file's index, the legacy idx1 behind movi or the OpenDML index of the first stream; a
// file whose movi has no index is not scanned for chunks, so its walk never finishes.
class AVIParser {
public:
    // The request of a walk that has stopped, finished or failed, with nothing more to read.
    static constexpr int32_t Stopped = -1;
    // The request of a file whose movi came before all of its stream headers.
    static constexpr int32_t MoviTooEarly = -2;
    static constexpr int32_t FinishedState = 12;
    static constexpr int32_t NoIndexState = 10;
    static constexpr int32_t MaxStreams = 128;
    static constexpr double DefaultFrameDuration = 400000.0;

    AviParseRequest Start(ByteView bytes);
    AviParseRequest Step(ByteView bytes);
    // The read the walk asked for could not be made: behind movi it means the file ends there
    // and has no index; anywhere else the walk stops.
    AviParseRequest ReadFailed();
    bool Finished() const { return state == FinishedState; }
    int32_t StreamCount() const { return static_cast<int32_t>(streams.size()); }
    StreamInfo* GetStream(int32_t index) {
        return index >= 0 && index < StreamCount() ? streams[static_cast<size_t>(index)].get() : nullptr;
    }
    double FrameDuration() const { return frameDuration; }
    const AviMainHeader& MainHeader() const { return mainHeader; }
    void SetRiffMagic(uint32_t magic) { riffMagic = magic; }
    void SetStreamCount(int32_t count) {
        forceStreamCount = true;
        forcedStreamCount = count;
    }
    void Reset();

private:
    AviParseRequest Ask(int64_t offset, int64_t size, int32_t nextState);
    AviParseRequest Stop(int32_t code = Stopped);
    AviParseRequest Current() const { return {nextOffset, nextSize, state}; }
    AviParseRequest ReadFileHead(ByteView bytes);
    AviParseRequest ReadChunkHead(ByteView bytes);
    AviParseRequest ReadChunkBody(ByteView bytes);
    AviParseRequest ReadListType(ByteView bytes);
    AviParseRequest ReadBehindFormat(ByteView bytes);
    AviParseRequest ReadList(ByteView bytes);
    AviParseRequest ReadMainHeader(ByteView bytes);
    AviParseRequest ReadStreamHeader(ByteView bytes);
    AviParseRequest ReadStreamName(ByteView bytes);
    AviParseRequest ReadIndexHead(ByteView bytes);
    AviParseRequest ReadLegacyIndex(ByteView bytes);
    AviParseRequest ReadSuperIndex(ByteView bytes);
    AviParseRequest ReadStandardIndex(ByteView bytes);
    AviParseRequest AskSuperEntry();
    AviParseRequest Finish();
    void AddFrame(int32_t stream, uint64_t offset, uint32_t size, uint32_t chunkId, uint32_t flags);
    void ComputeFrameDuration();

    AviMainHeader mainHeader = {};
    int32_t state = 0;
    int64_t nextOffset = 0;
    int32_t nextSize = 0;
    uint32_t chunkId = 0;
    uint32_t chunkSize = 0;
    std::vector<std::unique_ptr<StreamInfo>> streams;
    uint64_t headerListEnd = 0;
    uint32_t moviSize = 0;
    uint64_t moviPosition = 0;
    uint32_t riffSize = 0;
    uint64_t position = 0;
    int32_t streamIndex = 0;
    bool allStreamsSeen = false;
    bool hasIndex = false;
    bool fresh = true;
    bool relativeIndex = false;
    double frameDuration = DefaultFrameDuration;
    uint32_t entryCounter = 0;
    uint32_t riffMagic = FourCCLE("RIFF");
    std::vector<uint32_t> superEntries;
    uint32_t superEntry = 0;
    bool forceStreamCount = false;
    int32_t forcedStreamCount = 0;
    bool listSeen = false;
};

} // namespace Vorn::Vorncast::Decoders
