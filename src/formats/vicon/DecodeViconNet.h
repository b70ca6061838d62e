#pragma once

#include "codecs/jpeg/BlockJpegDecoder.h"
#include "core/framelists/TimeList.h"
#include "formats/shared/FrameListDecoder.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Vorn::Vorncast::Decoders {

// A frame of a ViconNet archive: the standard head, the video file that holds it and what its
// camera's block decoder needs.
struct ViconNetMultiFileFrameInfo : FrameInfo {
    int16_t videoFile;
    uint16_t width;
    uint16_t height;
    uint32_t frameType;
    uint32_t deltaOffset;
    uint32_t headerSize;
};
class ViconNetFrameInfoList : public BaseFrameInfoList<ViconNetMultiFileFrameInfo> {};

// An archive folder of a ViconNet recorder: a configuration that names the slices (Video<n>
// folders), a camera table, and in each slice video files made of a header file (.0), an index
// (.1) and an image file (.2). Pictures are block-update JPEG frames, key and delta, decoded by one
// block decoder for each camera; a frame is made by decoding from its camera's key frame, or from
// the last frame that camera decoded.
class DecodeViconNet : public FrameListDecoder<ViconNetFrameInfoList> {
public:
    using FrameListDecoder::FrameListDecoder;

    bool GetImage(int32_t bufferSize, uint8_t* buffer) override;

protected:
    void ForgetRecording() override;
    DecoderAction LoadingCore() override;
    DecoderAction DecompressingCore() override;

private:
    struct VideoFile {
        std::string baseName;
        int32_t slice;
    };
    struct CameraName {
        uint32_t number;
        char name[CameraNameLength];
    };
    // Per camera: its frames as the index gave them, its decoder and the frame it holds.
    struct Camera {
        std::vector<ViconNetMultiFileFrameInfo> frames;
        std::unique_ptr<BlockJpegDecoder> decoder;
        int32_t lastDecoded = -1;
    };

    DecoderAction OnConfigListed(bool ok, FileList& listed);
    DecoderAction OnConfigOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction OnConfig(ByteView bytes);
    DecoderAction OnConfigClosed(int32_t fileId);
    bool ParseStoreConfig(ByteView bytes);
    bool ReadSlices(ByteReader& r);
    DecoderAction OnCameraTableListed(bool ok, FileList& listed);
    DecoderAction OnCameraTableOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction OnCameraTable(ByteView bytes);
    void ReadDbfCameraTable(ByteView bytes);
    DecoderAction OnCameraTableClosed(int32_t fileId);
    DecoderAction ListSlice(int32_t slice);
    DecoderAction OnSliceListed(bool ok, FileList& listed);
    DecoderAction IndexVideoFile(int32_t index);
    DecoderAction OnHeaderFileOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction OnHeaderFile(ByteView bytes);
    DecoderAction OnHeaderClosed(int32_t fileId);
    DecoderAction OnIndexFileOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction ReadIndexBatch();
    DecoderAction OnIndexBatch(ByteView entries);
    void AddEntry(ByteView entry);
    DecoderAction OnVideoFileDone(int32_t fileId);
    DecoderAction MergeCameras();
    DecoderAction OnFirstImageOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction OnFirstImage(ByteView bytes);
    DecoderAction Finish(int32_t fileId);
    void AssignStreamTimes();
    const char* VideoFilePath(int32_t videoFile, char extension);
    void SetCameraOfFile(const std::string& baseName);

    int32_t PreviousShownFrame(int32_t frame, int32_t camera);
    int32_t NextShownFrame(int32_t frame, int32_t camera);
    DecoderAction FetchWalkFrame();
    DecoderAction OnFetchClosed(int32_t fileId);
    DecoderAction OnFetchOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction ReadWalkFrame();
    DecoderAction OnWalkFrame(bool ok, ByteView bytes);
    DecoderAction BlankImage();

    std::string archiveFolder;
    std::string parentFolder;
    std::vector<std::string> slices;
    std::vector<VideoFile> videoFiles;
    std::vector<CameraName> cameraNames;
    std::vector<Camera> cameras;
    char path[MaxPathLength] = {};
    int32_t sliceIndex = 0;
    int32_t videoFileIndex = 0;
    int32_t fileId = -1;
    uint32_t entryCount = 0;
    uint32_t entryStride = 0;
    uint32_t entriesRead = 0;
    uint64_t indexFileSize = 0;
    CameraTag fileCamera = {};
    // Fetching: the image file open, the frame to show, the frame being decoded on the way.
    int32_t openVideoFile = -1;
    int32_t targetFrame = -1;
    int32_t walkFrame = -1;
    bool imageValid = false;
};

} // namespace Vorn::Vorncast::Decoders
