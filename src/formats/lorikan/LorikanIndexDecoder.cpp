#include "formats/lorikan/LorikanIndexDecoder.h"

#include "model/support/Path.h"

#include <cctype>
#include <cstdio>
#include <cstring>
#include <limits>

namespace Vorn::Vorncast::Decoders {

namespace {

// The data file's name: 64 UTF-16 units, of which only the low bytes are kept.
void ReadNarrowedName(ByteReader& r, char (&name)[65]) {
    for (size_t unit = 0; unit < 64; ++unit) {
        name[unit] = static_cast<char>(r.U16LE() & 0xFF);
    }
    name[64] = '\0';
}

} // namespace

LorikanIndexHeader ReadLorikanIndexHeader(ByteView bytes) {
    LorikanIndexHeader header;
    header.newLayout = std::isdigit(bytes.U8(5)) != 0 && std::isdigit(bytes.U8(7)) != 0;
    ByteReader r(bytes, 4); // magic, tested by the caller
    if (header.newLayout) {
        r.Skip(4); // version text
        ReadNarrowedName(r, header.dataName);
        header.width = r.I32LE();
        header.height = r.I32LE();
        header.components = r.I32LE();
        header.aspectX = r.I32LE();
        header.aspectY = r.I32LE();
        header.size = 156;
    } else {
        ReadNarrowedName(r, header.dataName);
        header.width = r.I32LE();
        header.aspectX = header.width;
        header.height = r.I32LE();
        header.components = r.I16LE();
        // Fields of two interlaced halves: the picture is twice as high as a field.
        header.aspectY =
            r.I16LE() != 0 ? static_cast<int32_t>(static_cast<uint32_t>(header.height) * 2u) : header.height;
        header.size = 144;
    }
    return header;
}

LorikanIndexDecoder::LorikanIndexDecoder(const DecoderRow& row, const LorikanIndexFormat& format)
    : FrameListDecoder(row), format(format), codec(Lorikan::MakeDecoder()) {}

LorikanIndexDecoder::~LorikanIndexDecoder() {
    Lorikan::FreeDecoder(codec);
}

void LorikanIndexDecoder::ForgetRecording() {
    frames.Clear();
    header = LorikanIndexHeader{};
    dataFileId = -1;
    indexFileId = -1;
    indexFileSize = 0;
    position = 0;
    imageSize = 0;
    dataPath[0] = '\0';
}

// ---- loading: the header, then one record a read ----

DecoderAction LorikanIndexDecoder::LoadingCore() {
    Reset();
    return Open(loadName, &LorikanIndexDecoder::OnIndexOpened, nullptr);
}

DecoderAction LorikanIndexDecoder::OnIndexOpened(int32_t fileId, uint64_t fileSize) {
    if (fileId == -1 || fileSize < LorikanIndexHeader::ReadSize) {
        return Fail("%s", format.badOpen);
    }
    indexFileId = fileId;
    indexFileSize = fileSize;
    return Read(fileId, 0, LorikanIndexHeader::ReadSize, &LorikanIndexDecoder::OnHeader, format.badRead);
}

DecoderAction LorikanIndexDecoder::OnHeader(ByteView bytes) {
    if (!bytes.Matches(0, format.magic)) {
        return Fail("%s", format.badHeader);
    }
    header = ReadLorikanIndexHeader(bytes);
    if (!TakesLayout(header)) {
        return DecoderFailure();
    }
    imageWidth = header.width;
    imageHeight = header.height;
    aspectX = header.aspectX;
    aspectY = header.aspectY;
    colour = header.components == 3;
    position = header.size;
    return ReadNextRecord();
}

DecoderAction LorikanIndexDecoder::ReadNextRecord() {
    if (indexFileSize - position < format.recordSize) {
        return FinishRecords();
    }
    ReportProgress(static_cast<double>(position) / static_cast<double>(indexFileSize));
    return Read(indexFileId, position, format.recordSize, &LorikanIndexDecoder::OnRecord, format.badRead);
}

DecoderAction LorikanIndexDecoder::OnRecord(ByteView record) {
    frames.Append(ReadRecord(record));
    position += format.recordSize;
    return ReadNextRecord();
}

DecoderAction LorikanIndexDecoder::PublishFrames() {
    totalFrames = frames.Count();
    frames.AssignStreamTimes();
    return DDA_COMPLETE;
}

// The folder of the index, with its separator, and the name the header gives.
const char* LorikanIndexDecoder::DataPath() {
    int32_t folderLength = 0;
    for (int32_t index = 0; loadName[index] != '\0'; ++index) {
        if (Path::IsSeparator(loadName[index])) {
            folderLength = index + 1;
        }
    }
    if (std::snprintf(dataPath, sizeof dataPath, "%.*s%.128s", folderLength, loadName, header.dataName) >=
        MaxPathLength) {
        dataPath[0] = '\0';
    }
    return dataPath;
}

// ---- fetching a frame: one read at its offset, two spare bytes behind it ----

DecoderAction LorikanIndexDecoder::DecompressingCore() {
    const FrameInfo frame = frames.GetAt(currentFrame);
    imageSize = 0;
    if (uint64_t withSpare = uint64_t{frame.size} + 2; withSpare <= std::numeric_limits<uint32_t>::max()) {
        readBuffer.Resize(static_cast<uint32_t>(withSpare));
    }
    return Read(dataFileId, frame.offset, frame.size, &LorikanIndexDecoder::OnFrame, format.badFrameRead);
}

DecoderAction LorikanIndexDecoder::OnFrame(ByteView frame) {
    imageSize = static_cast<uint32_t>(frame.Size());
    return DDA_COMPLETE;
}

bool LorikanIndexDecoder::GetImage(int32_t bufferSize, uint8_t* buffer) {
    const int32_t components = colour ? 3 : 1;
    if (imageSize == 0 || readBuffer.Capacity() < imageSize + 2 || buffer == nullptr ||
        int64_t{imageWidth} * imageHeight * components > bufferSize ||
        !Lorikan::SetFrameFormat(codec, imageWidth, imageHeight, components)) {
        return false;
    }
    return Lorikan::DecodeFrame(codec, readBuffer.Data(), static_cast<int32_t>(imageSize + 2), buffer,
                                Lorikan::LosslessJpegBlueFirst) >= 0;
}

} // namespace Vorn::Vorncast::Decoders
