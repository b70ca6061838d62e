#pragma once

// A recording format of the tests' own that carries the frames of one codec, and a format decoder
// of the digital core that reads it and decodes its pictures through the library's codecs, so that
// damaged codec data reaches the codecs the way a recorder's file does: through the client
// functions, a load and a frame walk.
//
//   header  "VCR1", u16 codec, u16 width, u16 height, u16 zero, u32 frame count,
//           u32 configuration size, u32 zero (24 bytes); then the configuration bytes
//   frame   u32 size, then that many bytes
#include "fixtures/decoders/SingleReadDecoder.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Hardening {

using namespace Vorn::Vorncast::Decoders;

enum class RecordedCodec : uint16_t {
    Jpeg = 1,
    Adv601 = 2,
    LosslessJpeg = 3,
    Mpeg4 = 4,
    H264 = 5,
    Mpeg2ProgramStream = 6,
    Jpeg2000 = 7,
    H263 = 8,
};

struct CodecRecording {
    RecordedCodec codec = RecordedCodec::Jpeg;
    int32_t width = 0;
    int32_t height = 0;
    std::vector<uint8_t> config;
    std::vector<std::vector<uint8_t>> frames;

    std::string Bytes() const;
    // Where each frame's size field lies in Bytes().
    std::vector<uint64_t> FrameStarts() const;
};

constexpr uint32_t CodecRecordingHeaderBytes = 24;

// Reads CodecRecording files. The index lives in the decoder after a load and the file stays open
// until the unload. Video frames decode in order: a frame that does not follow the last one
// decoded starts the codec afresh.
class CodecRecordingDecoder : public Testing::SingleReadDecoder {
public:
    static constexpr const char* Guid = "7E57DA7A-0B5E-4E3D-9C1A-7A11F00DC0DE";

    CodecRecordingDecoder();
    ~CodecRecordingDecoder() override;

    // A fault to prove the sweep: the load steps onto the same record again when a frame is empty.
    bool stallOnEmptyFrame = false;

    bool GetImage(int32_t bufferSize, uint8_t* buffer) override;
    int32_t GetFrameAtOrBefore(int32_t frame, int32_t filter) override;
    int32_t GetPreviousFrame(int32_t frame, int32_t filter) override;
    int32_t GetNextFrame(int32_t frame, int32_t filter) override;
    int32_t IndexOfFrameAtStreamTime(int64_t streamTime) override;
    void Reset() override;
    const char* GetDecoderName() override { return "Codec Recording"; }
    void GetDecoderGuid(const char** text) override { *text = Guid; }
    const char* GetExtensions(int32_t* count) override {
        *count = 1;
        return "vcr";
    }
    bool IsExtension(const char* extension) override;

protected:
    FrameTimes GetFrameTimes() override;

    DecoderAction LoadingCore() override { return DDA_OPEN; }
    void LoadingGetOpenName(char* name) override;
    DecoderAction LoadingOpenComplete(int32_t fileId, uint64_t fileSize) override;
    DecoderAction LoadingReadComplete(int32_t fileId, bool ok) override;

    DecoderAction PositioningCore() override;
    DecoderAction DecompressingCore() override;
    DecoderAction DecompressingReadComplete(int32_t fileId, bool ok) override;

    DecoderAction UnloadingCore() override { return file >= 0 ? DDA_CLOSE : DDA_COMPLETE; }
    void UnloadingGetFileToClose(int32_t* fileId) override { *fileId = file; }
    DecoderAction UnloadingCloseComplete(int32_t fileId) override;
    DecoderAction FailingCore() override { return file >= 0 ? DDA_CLOSE : DDA_NO_ACTION; }
    void FailingGetFileToClose(int32_t* fileId) override { *fileId = file; }
    DecoderAction FailingCloseComplete(int32_t fileId) override;

private:
    struct Entry {
        uint64_t offset; // of the frame's bytes
        uint32_t size;
    };
    enum class LoadStep { Header, Config, FrameHead };
    class Codecs;

    DecoderAction ReadHeader();
    DecoderAction ReadConfig();
    DecoderAction ReadFrameHead();
    DecoderAction NextFrameHead();
    DecoderAction FinishLoad();
    bool FrameIsValid(int32_t frame) const;

    int32_t file = -1;
    uint64_t fileSize = 0;
    LoadStep loadStep = LoadStep::Header;
    RecordedCodec codec = RecordedCodec::Jpeg;
    uint32_t framesAnnounced = 0;
    uint64_t nextHead = 0;
    std::vector<uint8_t> config;
    std::vector<Entry> entries;
    bool pictureReady = false;
    int32_t lastDecoded = -2;
    std::unique_ptr<Codecs> codecs;
};

} // namespace Hardening
