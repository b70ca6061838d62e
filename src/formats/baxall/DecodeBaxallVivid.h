#pragma once

#include "core/decoder/FormatDecoder.h"
#include "core/framelists/FrameInfoList.h"
#include "formats/shared/FolderFiles.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// The ".vdf" files of a folder exported from a Baxall Vivid recorder. Each file is a chain of
// JPEG 2000 frames, each behind a block header with the recorder's calendar time and camera
// number; there is no index, so the load walks every chain. Frames of all files are merged in time
// order; the file of the frame being fetched stays open.
class DecodeBaxallVivid : public FormatDecoder {
public:
    using FormatDecoder::FormatDecoder;

    bool GetImage(int32_t bufferSize, uint8_t* buffer) override;
    int32_t GetPreviousFrame(int32_t frame, int32_t camera) override;
    int32_t GetNextFrame(int32_t frame, int32_t camera) override;
    int32_t IndexOfFrameAtStreamTime(int64_t streamTime) override {
        return frames.IndexAtStreamTime(streamTime);
    }
    void GetCameras(uint8_t* mask) override;

protected:
    FrameTimes GetFrameTimes() override;
    void GetFrameCamera(CameraTag* camera) override;
    void ForgetRecording() override;
    DecoderAction LoadingCore() override;
    DecoderAction DecompressingCore() override;

private:
    // A frame block as its first 103 bytes give it: numbers big-endian, the length little-endian.
    struct BlockHeader {
        uint32_t length; // the next block lies this many bytes + 8 further
        uint8_t camera;
        SystemTime time;
        uint32_t height;
        uint32_t width;
    };
    static constexpr uint32_t BlockHeaderSize = 103;
    static constexpr uint32_t FirstReadSize = 512;

    static BlockHeader ReadBlockHeader(ByteView block);

    DecoderAction OnListed(bool ok, FileList& listed);
    DecoderAction OpenFile(int32_t index);
    DecoderAction OnOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction OnFirstPosition(ByteView bytes);
    DecoderAction ReadBlock();
    DecoderAction OnBlock(ByteView block);
    DecoderAction OnWalked(int32_t fileId);
    DecoderAction Finish(int32_t fileId, uint64_t fileSize);
    DecoderAction OnFetchClosed(int32_t fileId);
    DecoderAction OnFetchOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction ReadCurrentFrame();
    DecoderAction OnFrame(ByteView frame);

    // The block header must lie wholly inside the file.
    bool BlockFits(uint64_t at) const { return at + BlockHeaderSize <= fileSize; }

    FolderFiles folderFiles;
    MultiFileFrameInfoList frames;
    uint8_t camerasSeen[CameraMaskBytes] = {};
    int32_t fileIndex = 0;
    int32_t fileId = -1;
    uint64_t fileSize = 0;
    uint64_t position = 0;
    uint32_t imageSize = 0;
    bool imageValid = false;
};

} // namespace Vorn::Vorncast::Decoders
