#pragma once

#include "core/decoder/WaitEvent.h"
#include "core/framelists/TimeList.h"
#include "formats/ljd/LjdLeviathanDll.h"
#include "formats/shared/FrameListDecoder.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace Vorn::Vorncast::Decoders {

struct LjdLeviathanFrameInfo {
    int64_t recordedTime;
    int64_t streamTime;
    uint64_t offset;
    uint32_t size;
    uint16_t camera;
    uint8_t isKeyFrame;
    int32_t keyFrame; // the frame this one is decoded from, -1 when none
};
class LjdLeviathanFrameList : public BaseFrameInfoList<LjdLeviathanFrameInfo> {};

// An LJD Leviathan export: three files of one base name, the settings text (.vdd) with the camera
// names, the index (.vdb) and the image store (.vmb), which is walked header by header when there
// is no index. Pictures are decoded by the maker's library on a worker thread; the client waits
// for it through the decoder's one wait object.
class DecodeLjdLeviathan : public FrameListDecoder<LjdLeviathanFrameList> {
public:
    using FrameListDecoder::FrameListDecoder;

    bool GetImage(int32_t bufferSize, uint8_t* buffer) override;
    int32_t GetWaitObjectCount() override { return 1; }
    WaitObject GetWaitObject(int32_t) override { return &completeEvent; }
    void GetCameras(uint8_t* mask) override;

protected:
    void GetFrameCamera(CameraTag* camera) override;
    void ForgetRecording() override;
    DecoderAction LoadingCore() override;
    DecoderAction DecompressingCore() override;
    DecoderAction UnloadingCore() override;
    DecoderAction UnloadingEventComplete(WaitObject signalled) override;
    DecoderAction FailingCore() override;
    DecoderAction FailingEventComplete(WaitObject signalled) override;

private:
    static constexpr int32_t CameraRows = 17; // camera 16 passes the file's test
    static constexpr uint32_t IndexHeaderSize = 53;
    static constexpr uint32_t IndexRecordSize = 23;
    static constexpr uint32_t RecordsPerRead = 300;
    static constexpr uint32_t ImageHeaderSize = 24;

    void SetExtension(const char* extension);
    void ReadSettings(ByteView text);
    void SeeCamera(uint16_t camera);

    DecoderAction OnSettingsOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction OnSettings(ByteView text);
    DecoderAction OpenIndex(int32_t closedFileId = -1);
    DecoderAction OnIndexOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction ReadIndexBatch();
    DecoderAction OnIndexBatch(ByteView records);
    DecoderAction OpenStore(int32_t closedFileId = -1);
    DecoderAction OnStoreOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction OnImageHeader(ByteView header);
    DecoderAction OpenOnWorker(int32_t path);
    DecoderAction OnStoreClosed(int32_t fileId);
    DecoderAction OnOpenResult(WaitObject signalled);
    DecoderAction OnReadResult(WaitObject signalled);
    bool SubmitClose(const char* failure);

    Decoders::WaitEvent completeEvent;
    std::unique_ptr<LjdLeviathanDll> dll;
    bool recordingOpen = false;
    CameraTag cameras[CameraRows] = {};
    int32_t fileId = -1;
    uint64_t fileSize = 0;
    bool hasIndex = false;
    uint64_t recordsRead = 0;
    uint64_t recordCount = 0;
    uint64_t position = 0;
    int32_t openPath = 0; // 1 after the index, 2 after the walk
    uint32_t largestImage = 0;
    std::vector<uint8_t> picture;
    bool goodPicture = false;
};

} // namespace Vorn::Vorncast::Decoders
