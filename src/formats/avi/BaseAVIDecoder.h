#pragma once

#include "codecs/jpeg/JpegCodec.h"
#include "codecs/vfw/VFWDecoder.h"
#include "codecs/video/IppDecoder.h"
#include "formats/avi/AVIParser.h"
#include "formats/riff/RiffHeaders.h"
#include "formats/shared/FolderFiles.h"
#include "formats/shared/FrameListDecoder.h"

#include <memory>
#include <vector>

namespace Vorn::Vorncast::Decoders {

// Which of its codecs a camera decodes with; the FourCC of its stream chooses it.
enum class AviCodec { Jpeg, Jpeg2000, Mpeg4, H263, Mpeg2, Dv, Vfw };

// A camera of an AVI file set: its stream format, its one codec and where its decoding stands.
struct PerCameraDatum {
    int32_t cameraNumber = 0;
    uint32_t fourCC = 0;
    AviCodec codec = AviCodec::Vfw;
    JpegDecoderScratch jpegScratch;
    std::unique_ptr<IppDecoder> videoDecoder; // MPEG-4, H.263, MPEG-2 or DV
    std::unique_ptr<VFWDecoder> vfwDecoder;
    std::vector<uint8_t> format; // the stream's strf
    BitmapInfoHeader outputFormat;
    std::vector<uint8_t> decodedImage;
    int32_t width = 0;
    int32_t height = 0;
    int32_t lastFrameRead = -1;
    int32_t lastFrameDecoded = -1;
    bool imageValid = false;
    bool decoderReady = false;
};

// The common base of the recorders' AVI dialects. A load lists the file set (one named file, or
// every AVI of its folder), walks each file's headers and index with AVIParser, lets the member
// read its metadata, and merges the video streams of all files into one list by time; each file
// is a camera unless the member says otherwise. Frames are fetched through a cache of open files,
// decoding from the last key frame when the camera's codec needs its predecessors.
//
// A member overrides the hooks: which FourCCs it accepts and which private codec serves them,
// where its times and cameras lie (ProcessMetaData, reading what MetaDataReadParameters names),
// and how its file set is listed.
class BaseAVIDecoder : public FrameListDecoder<AVIMultiFileFrameInfoList> {
public:
    explicit BaseAVIDecoder(const DecoderRow& row);

    const char* GetDecoderName() override;
    bool GetImage(int32_t bufferSize, uint8_t* buffer) override;

protected:
    static constexpr int32_t CacheRows = 16;

    // ---- hooks ----
    virtual void SetupCamera(PerCameraDatum& camera);
    // Reads the current file's metadata from the bytes MetaDataReadParameters named: DDA_READ
    // asks for another read, DDA_NO_ACTION ends the file, anything else is the load's answer.
    virtual DecoderAction ProcessMetaData(ByteView) { return DDA_NO_ACTION; }
    virtual DecoderAction ProcessFileList(FileList& listed);
    virtual bool ValidateFourCC(uint32_t fourCC);
    virtual bool ValidateAVIStreams() { return true; }
    virtual uint32_t CodecFourCC(uint32_t fourCC) { return fourCC; }
    virtual void MetaDataReadParameters(uint64_t* offset, uint32_t* size);
    // The listing of the file set: the folder of the loaded file, "*.avi".
    virtual DecoderAction ListRecordingFiles();
    virtual DecoderAction OnFilesListed(bool ok, FileList& listed);
    virtual DecoderAction PrepareFrameRead();
    // The bytes of the wanted frame, just read into the read buffer: how many of them are its own.
    // A member whose frames hold chunks of other streams takes those out here.
    virtual uint32_t OwnFrameBytes(const AVIMultiFileFrameInfo& frame) { return frame.size; }
    // The codec of "MPEG" streams.
    virtual std::unique_ptr<IppDecoder> MakeMpeg2Decoder();
    void SetStreamCount(int32_t count) { parser.SetStreamCount(count); }
    void SetRiffMagic(uint32_t magic) { parser.SetRiffMagic(magic); }

    void ForgetRecording() override;
    DecoderAction LoadingCore() override;
    DecoderAction DecompressingCore() override;
    DecoderAction FailingCloseComplete(int32_t fileId) override;
    FrameTimes GetFrameTimes() override;
    uint64_t GetFramePeriod() override;

    // `count` frame durations in ticks, held within the range of a time: a damaged header may give
    // any duration.
    static int64_t DurationTicks(double duration, double count);
    // The place in videoStreams of the current file's first video stream.
    size_t CurrentFileStream() const { return fileStreamsStart; }
    // The frames of the current file's first video stream, as the metadata step may change them.
    AVIMultiFileFrameInfoList* CurrentFileFrames();
    // The current file's name without its folder.
    const char* CurrentFileName();
    // The bytes of the frame last fetched; empty when it gave none.
    ByteView FetchedFrame() const { return ByteView(readBuffer.Data(), imageBytes); }
    PerCameraDatum& CameraOfCurrentFrame() {
        return *cameras[static_cast<size_t>(frames.GetAt(currentFrame).cameraIndex)];
    }
    // The current file's first stream of type "txts" (either case), or null.
    StreamInfo* FindTextStream();
    // Where text frame `metaIndex` of `stream` lies, less `less` bytes at its end: false when there
    // is no such frame.
    bool TextFrameAt(StreamInfo* stream, uint64_t* offset, uint32_t* size, uint32_t less = 0);
    // Gives frame `index` of the current file its time, or every frame its camera.
    void SetCurrentFileFrameTime(int32_t index, int64_t ticks);
    void SetCurrentFileCamera(int32_t number, const char* name);
    DecoderAction ContinueWithFiles();

    bool multiFile = false;
    // The name grows the FourCC of the video once the headers are read ("DV25 AVI (dvsd)").
    bool nameWithFourCC = true;
    double progressShare = 1.0;
    FolderFiles files;
    AVIParser parser;
    int32_t currentFileIndex = 0;
    int32_t currentFileId = -1;
    uint64_t currentFileSize = 0;
    uint32_t fourCC = 0;
    bool hasTimeStamps = true;
    bool hasCameraInfo = true;
    bool filePathError = false;
    bool isDivX = false;
    int32_t metaIndex = 0; // the step of a member's metadata walk within the current file
    std::vector<std::unique_ptr<StreamInfo>> videoStreams;
    std::vector<std::unique_ptr<PerCameraDatum>> cameras;

private:
    struct CacheRow {
        int32_t fileId = -1;
        int32_t fileIndex = -1;
    };

    DecoderAction OpenCurrentFile();
    DecoderAction OnFileOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction OnRiffHead(bool ok, ByteView bytes);
    DecoderAction ContinueParse(AviParseRequest request);
    DecoderAction OnParseRead(bool ok, ByteView bytes);
    DecoderAction OnParsed();
    DecoderAction TakeVideoStream(int32_t index, uint32_t streamFourCC);
    DecoderAction ReadMetaData();
    DecoderAction OnMetaData(bool ok, ByteView bytes);
    DecoderAction OnFileClosed(int32_t fileId);
    DecoderAction FinishLoad();
    DecoderAction AssignCameras();
    PerCameraDatum* MakeCamera(const StreamInfo& stream, int32_t number);
    static bool HasShowableSize(const PerCameraDatum& camera);
    bool ChooseCodec(PerCameraDatum& camera);
    void PopulateFrameInfoList();
    void AddProgress(double share);

    DecoderAction OnFetchEvicted(int32_t fileId);
    DecoderAction OpenFetchFile();
    DecoderAction OnFetchOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction ReadFetchFrame(int32_t frame);
    DecoderAction OnFetchRead(ByteView bytes);
    int32_t WalkStart(const AVIMultiFileFrameInfo& current);
    int32_t NextFrameInFile(int32_t frame);
    bool DecodeToImage(PerCameraDatum& camera, const AVIMultiFileFrameInfo& frame, int32_t bufferSize,
                       uint8_t* buffer);
    bool DecodeThroughVfw(PerCameraDatum& camera, const AVIMultiFileFrameInfo& frame, int32_t bufferSize,
                          uint8_t* buffer);
    bool AdvanceDecoder(PerCameraDatum& camera, const AVIMultiFileFrameInfo& frame, ByteView bytes);

    size_t fileStreamsStart = 0; // the first of videoStreams that the current file added
    double loadProgress = 0.0;
    CacheRow cache[CacheRows];
    int32_t fetchFileId = -1;
    int32_t readingFrame = -1;
    uint32_t imageBytes = 0;
    char decoderName[256] = {};
};

// The name of a decoder with its FourCC behind it: "Base AVI (MJPG)", or "(Uncompressed)".
void AppendFourCCToName(char* name, size_t size, const char* base, uint32_t fourCC);

} // namespace Vorn::Vorncast::Decoders
