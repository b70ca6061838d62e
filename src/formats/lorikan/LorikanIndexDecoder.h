#pragma once

#include "codecs/jpeg/LosslessJpegCodec.h"
#include "core/framelists/FrameInfoList.h"
#include "formats/shared/FrameListDecoder.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// The header shared by the index files of the system's own recorder: a magic, a data file's
// name, the picture's size, components and aspect, in a new layout (with a version text) or an
// old one.
struct LorikanIndexHeader {
    static constexpr uint32_t ReadSize = 156;

    bool newLayout = false;
    uint32_t size = 0; // where the first record starts
    char dataName[65] = {};
    int32_t width = 0;
    int32_t height = 0;
    int32_t components = 0;
    int32_t aspectX = 0;
    int32_t aspectY = 0;
};

// Reads the 156 header bytes; the layout is the new one when bytes 5 and 7 are digits.
LorikanIndexHeader ReadLorikanIndexHeader(ByteView bytes);

// The texts and record size of one of the index formats.
struct LorikanIndexFormat {
    const char* magic;
    uint32_t recordSize;
    const char* badOpen;
    const char* badRead;
    const char* badHeader;
    const char* badFrameRead;
};

// Both index formats: a header, then fixed-size records read one at a time, each a lossless JPEG
// frame in one data file beside the index. A unit gives its record layout and what happens once
// the records are in.
class LorikanIndexDecoder : public FrameListDecoder<FrameInfoList> {
public:
    LorikanIndexDecoder(const DecoderRow& row, const LorikanIndexFormat& format);
    ~LorikanIndexDecoder() override;

    bool GetImage(int32_t bufferSize, uint8_t* buffer) override;

protected:
    void ForgetRecording() override;
    DecoderAction LoadingCore() override;
    DecoderAction DecompressingCore() override;

    // Whether the unit takes a header of this layout; a refused one fails the load without a word.
    virtual bool TakesLayout(const LorikanIndexHeader& header) const = 0;
    virtual FrameInfo ReadRecord(ByteView record) = 0;
    // Called once every record is in, with the index file still open.
    virtual DecoderAction FinishRecords() = 0;

    // The data file: the folder of the index and the name from its header.
    const char* DataPath();
    // Publishes the frames with their time span and stream times.
    DecoderAction PublishFrames();

    LorikanIndexHeader header;
    int32_t dataFileId = -1;
    int32_t indexFileId = -1;

private:
    DecoderAction OnIndexOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction OnHeader(ByteView bytes);
    DecoderAction ReadNextRecord();
    DecoderAction OnRecord(ByteView record);
    DecoderAction OnFrame(ByteView frame);

    const LorikanIndexFormat& format;
    uint64_t indexFileSize = 0;
    uint64_t position = 0;
    uint32_t imageSize = 0;
    char dataPath[MaxPathLength] = {};
    Lorikan::LosslessJpegDecoder* codec = nullptr;
};

} // namespace Vorn::Vorncast::Decoders
