#pragma once

#include "codecs/adv601/ADV601Decoder.h"
#include "core/framelists/TimeList.h"
#include "formats/shared/FolderFiles.h"
#include "formats/shared/FrameListDecoder.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// A frame of a Wavestore export: the standard head and the file that holds it.
struct NewWavestoreFrameInfo : FrameInfo {
    int32_t fileIndex;
};
class NewWavestoreFrameList : public BaseFrameInfoList<NewWavestoreFrameInfo> {};

// The tree of ".v" files a Wavestore recorder exports. Each file starts with a table of frame
// positions; each frame is a 72-byte big-endian header with the camera's number, name and time
// (in 1/300 s since 1970) and an ADV601 field. Fetching keeps one file open for each camera.
class DecodeNewWavestore : public FrameListDecoder<NewWavestoreFrameList> {
public:
    using FrameListDecoder::FrameListDecoder;

    bool GetImage(int32_t bufferSize, uint8_t* buffer) override;

protected:
    void ForgetRecording() override;
    DecoderAction LoadingCore() override;
    DecoderAction DecompressingCore() override;

private:
    struct OpenFile {
        int32_t fileId = -1;
        int32_t fileIndex = -1;
    };
    static constexpr uint32_t FileHeaderSize = 2048;
    static constexpr uint32_t FrameHeaderSize = 72;

    DecoderAction OnListed(bool ok, FileList& listed);
    DecoderAction OpenListedFile(int32_t index);
    DecoderAction OnOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction OnFileHeader(ByteView header);
    DecoderAction ReadFrameHeader();
    DecoderAction OnFrameHeader(ByteView header);
    DecoderAction OnClosed(int32_t fileId);
    DecoderAction OnFirstFrame(ByteView field);

    DecoderAction OnFetchClosed(int32_t fileId);
    DecoderAction OpenFetchFile();
    DecoderAction OnFetchOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction ReadCurrentFrame();
    DecoderAction OnFrame(ByteView field);

    FolderFiles folderFiles;
    OpenFile cameraFiles[MaxCameras];
    int32_t loadingState = 0;
    int32_t fileIndex = 0;
    int32_t fileId = -1;
    uint64_t fileSize = 0;
    int32_t nextHeader = 0; // the frame whose header the load reads next
    uint32_t largestFrame = 0;
    uint16_t fetchCamera = 0;
    uint32_t imageSize = 0;
    bool goodImage = false;
    ADV601Decoder fieldDecoder;
};

} // namespace Vorn::Vorncast::Decoders
