#pragma once

#include "fixtures/decoders/SingleReadDecoder.h"

#include <cstdint>
#include <string>
#include <vector>

// A small recording format of the tests' own, and a format decoder of the digital core that reads
// it. A file is a 32-byte header followed by records, each a 20-byte head and its payload:
//
//   header  "TFR1", u16 width, u16 height, u16 tracks, u16 audio block bytes, u32 record count,
//           u32 sample rate, u16 bits per sample, u16 channels, 8 bytes zero
//   record  u8 kind (0 picture, 1 audio), u8 track, u16 camera, i64 time, u32 payload size,
//           u32 checksum (byte sum of the payload); then the payload: raw BGR rows or PCM bytes
namespace LegacyTests {

using namespace Vorn::Vorncast::Decoders;

enum RecordKind : uint8_t { PictureRecord = 0, AudioRecord = 1 };

struct TinyRecord {
    uint8_t kind = PictureRecord;
    uint8_t track = 0;
    uint16_t camera = 0;
    int64_t time = 0;
    bool damaged = false; // the checksum does not match the payload
};

struct TinyRecording {
    int32_t width = 4;
    int32_t height = 3;
    int32_t tracks = 1;
    int32_t audioBytes = 0;
    int32_t sampleRate = 8000;
    int32_t bitsPerSample = 16;
    int32_t channels = 1;
    std::vector<TinyRecord> records;

    // The payload of record `index`: every byte depends on the record, so that a picture tells
    // which frame it is, and no picture is black.
    std::vector<uint8_t> Payload(size_t index) const;
    std::string Bytes() const;
};

// The time of the n-th tick step of 40 ms after a fixed day in 2006.
int64_t TimeAt(int32_t step);

// Reads TinyRecording files. The index lives in the decoder after a load; the file stays open until
// the unload. Knobs let a test break one frame in a way the core cannot recover from.
class TinyRecordingDecoder : public Testing::SingleReadDecoder {
public:
    static constexpr const char* Guid = "7E57DA7A-0B5E-4E3D-9C1A-7A11F00D0001";

    const char* displayName = "Tiny Recording";
    int32_t brokenFrame = -1; // its decompression answers an action outside the protocol
    int positioningCalls = 0;
    int decompressCalls = 0;
    int audioDecompressCalls = 0;
    int walks = 0;                   // steps through the picture index, either way
    std::vector<std::string> listed; // what the load's listing of the folder gave

    bool GetImage(int32_t bufferSize, uint8_t* buffer) override;
    bool GetAudio(int32_t size, uint8_t* buffer) override;
    int32_t GetFrameAtOrBefore(int32_t frame, int32_t filter) override {
        return GetPreviousFrame(frame + 1, filter);
    }
    int32_t GetPreviousFrame(int32_t frame, int32_t filter) override;
    int32_t GetNextFrame(int32_t frame, int32_t filter) override;
    int32_t GetAudioFrameAtOrBefore(int32_t frame, int32_t filter) override {
        return GetPreviousAudioFrame(frame + 1, filter);
    }
    int32_t GetPreviousAudioFrame(int32_t frame, int32_t filter) override;
    int32_t GetNextAudioFrame(int32_t frame, int32_t filter) override;
    int32_t IndexOfFrameAtStreamTime(int64_t streamTime) override;
    int32_t IndexOfAudioFrameAtStreamTime(int64_t streamTime) override;
    void GetCameras(uint8_t* mask) override;
    bool GetTrackInfo(int32_t track, char* name, FrameTimes* first, FrameTimes* last, int32_t* frames,
                      bool* hasAudio) override;
    void Reset() override {}
    const char* GetDecoderName() override { return displayName; }
    void GetDecoderGuid(const char** text) override { *text = Guid; }
    const char* GetExtensions(int32_t* count) override {
        *count = 1;
        return "tfr";
    }
    bool IsExtension(const char* extension) override;

protected:
    FrameTimes GetFrameTimes() override;
    FrameTimes GetAudioFrameTimes() override;
    void GetFrameCamera(CameraTag* camera) override;
    void GetAudioFrameCamera(CameraTag* camera) override;

    // The query reads the header and the first record's head: it tells the picture format, the
    // record count and the first time.
    DecoderAction QueryingCore() override;
    void QueryingGetOpenName(char* name) override { OpenName(name); }
    DecoderAction QueryingOpenComplete(int32_t fileId, uint64_t fileSize) override;
    DecoderAction QueryingReadComplete(int32_t fileId, bool ok) override;
    void QueryingGetFileToClose(int32_t* fileId) override { *fileId = file; }
    DecoderAction QueryingCloseComplete(int32_t fileId) override;

    // The load lists the folder first, as formats of several files do, then reads the index.
    DecoderAction LoadingCore() override;
    void LoadingGetListPath(char* directory, char* pattern, int32_t* depth) override;
    DecoderAction LoadingFileListComplete(bool ok, FileList& fileList) override;
    void LoadingGetOpenName(char* name) override { OpenName(name); }
    DecoderAction LoadingOpenComplete(int32_t fileId, uint64_t fileSize) override;
    DecoderAction LoadingReadComplete(int32_t fileId, bool ok) override;

    DecoderAction PositioningCore() override;
    DecoderAction PositioningAudioCore() override { return DDA_COMPLETE; }

    DecoderAction DecompressingCore() override;
    DecoderAction DecompressingReadComplete(int32_t fileId, bool ok) override;
    DecoderAction DecompressingAudioCore() override;
    DecoderAction DecompressingAudioReadComplete(int32_t fileId, bool ok) override;

    DecoderAction UnloadingCore() override { return fileOpen ? DDA_CLOSE : DDA_COMPLETE; }
    void UnloadingGetFileToClose(int32_t* fileId) override { *fileId = file; }
    DecoderAction UnloadingCloseComplete(int32_t fileId) override;
    DecoderAction FailingCore() override { return fileOpen ? DDA_CLOSE : DDA_NO_ACTION; }
    void FailingGetFileToClose(int32_t* fileId) override { *fileId = file; }
    DecoderAction FailingCloseComplete(int32_t fileId) override;

private:
    struct Entry {
        int64_t time;
        uint64_t offset; // of the payload
        uint32_t size;
        uint16_t camera;
        uint32_t checksum;
    };
    enum class LoadStep { Header, RecordHead };
    enum class QueryStep { Header, FirstRecordHead };

    const std::vector<Entry>& Pictures() const { return pictures[static_cast<size_t>(currentTrack)]; }
    void OpenName(char* name) const;
    bool ParseHeader();
    DecoderAction ReadHeader();
    DecoderAction ReadRecordHead();
    DecoderAction FinishLoad();
    DecoderAction ReadPayload(const Entry& entry);
    bool PayloadIsSound(const Entry& entry) const;

    int32_t file = -1;
    bool fileOpen = false;
    uint64_t fileSize = 0;
    LoadStep loadStep = LoadStep::Header;
    QueryStep queryStep = QueryStep::Header;
    uint64_t nextRecord = 0;
    uint32_t recordsLeft = 0;
    uint32_t recordCount = 0;
    int32_t trackCount = 1;
    std::vector<std::vector<Entry>> pictures; // by track
    std::vector<Entry> sound;
    bool pictureReady = false;
    bool soundReady = false;
};

} // namespace LegacyTests
