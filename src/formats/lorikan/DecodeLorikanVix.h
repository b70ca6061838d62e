#pragma once

#include "codecs/jpeg/JpegCodec.h"
#include "core/framelists/CameraInfoList.h"
#include "core/framelists/QuickFrameItemList.h"
#include "formats/shared/FrameListDecoder.h"

#include <cstdint>
#include <vector>

namespace Vorn::Vorncast::Decoders {

// The frame index of the system's own export: a big-endian box file that holds a table of data
// files, a camera table, an image description and the frame records ("ixbd" or "ixb2"). The
// frames lie byte-swapped in the data files, and one may run on from the end of a data file into
// the next. A text file beside the index, named like it with the extension "txt", holds the folder
// of the data files.
class DecodeLorikanVix : public FrameListDecoder<MultiFileImageInfoList64> {
public:
    using FrameListDecoder::FrameListDecoder;

    bool GetImage(int32_t bufferSize, uint8_t* buffer) override;

protected:
    void GetFrameCamera(CameraTag* camera) override;
    void ForgetRecording() override;
    DecoderAction LoadingCore() override;
    DecoderAction DecompressingCore() override;

private:
    struct DataFile {
        char name[MaxPathLength];
        uint64_t value; // stored by the exporter, used for nothing
    };
    struct ImageDescription {
        uint32_t formatType = 0; // 0: JPEG 2000 file, 1: JPEG image
        int32_t width = 0;
        int32_t height = 0;
        int32_t aspectX = 0;
        int32_t aspectY = 0;
        bool colour = false;
    };
    static constexpr uint32_t FileHeadSize = 256;
    static constexpr uint32_t CompanionTextSize = 261;
    static constexpr uint32_t RecordsPerRead = 128;

    bool ParseIndexHeader(ByteView payload);
    bool ParseImageDescription(ByteView body);
    bool ParseFileTable(ByteView body);
    bool ParseCameraTable(ByteView body);

    DecoderAction OnListed(bool ok, FileList& listed);
    DecoderAction OnCompanionOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction OnCompanionText(ByteView text);
    DecoderAction OnCompanionClosed(int32_t fileId);
    DecoderAction OpenIndex();
    DecoderAction OnIndexOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction OnFileHead(ByteView head);
    DecoderAction OnIndexHeader(ByteView payload);
    DecoderAction OnFrameIndexHead(ByteView head);
    DecoderAction ReadRecords();
    DecoderAction OnRecords(ByteView records);
    DecoderAction FinishIndex();
    DecoderAction OnIndexClosed(int32_t fileId);

    DecoderAction OnFetchClosed(int32_t fileId);
    DecoderAction OpenDataFile();
    DecoderAction OnDataOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction ReadPiece();
    DecoderAction OnPiece(ByteView piece);

    char companionText[CompanionTextSize + 1] = {};
    char basePath[CompanionTextSize + 2] = {};
    std::vector<DataFile> dataFiles;
    CameraInfoList cameras;
    ImageDescription image;
    bool secondKind = false;
    int32_t fileId = -1;
    uint64_t fileSize = 0;
    uint64_t indexHeaderEnd = 0;
    uint64_t recordStart = 0;
    uint64_t recordCount = 0;
    uint64_t recordsRead = 0;

    // The frame being fetched: its data file, where the next piece starts, and what is in.
    int32_t currentFileIndex = -1;
    uint64_t dataFileSize = 0;
    uint64_t fetchOffset = 0;
    uint32_t fetchSize = 0;
    uint32_t fetched = 0;
    ReadBuffer frameBuffer;
    JpegDecoderScratch jpegScratch;
};

} // namespace Vorn::Vorncast::Decoders
