#include "formats/lorikan/DecodeLorikanVix.h"

#include "codecs/jpeg2000/Jpeg2000Decoder.h"
#include "core/binary/FourCC.h"
#include "formats/shared/IndexRows.h"
#include "formats/shared/TypeDispatch.h"
#include "model/support/Path.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace Vorn::Vorncast::Decoders {

namespace {

using namespace std::string_view_literals;

constexpr std::string_view Signature = "\x00\x00\x00\x0Cvix \r\n\x87\n"sv;
constexpr const char* BadResult = "DecodeLorikanVix::LoadingReadComplete failed with bad result\n";
constexpr const char* BadOpen = "DecodeLorikanVix::LoadingOpenComplete failed with bad fileId or fileSize\n";
// The "ixhd" box must lie in the first 256 bytes: its header starts before offset 241.
constexpr uint64_t HeaderBoxLimit = 241;

// A box header: 32-bit size and type, and a 64-bit size behind them when the size is 1.
struct VixBox {
    uint64_t size = 0; // header included
    uint32_t type = 0;
    uint32_t headerSize = 8;
    bool ok = false;
};

VixBox ReadBox(ByteView bytes, size_t at) {
    ByteReader r(bytes, at);
    VixBox box;
    box.size = r.U32BE();
    box.type = r.U32BE();
    if (box.size == 1) {
        box.size = r.U64BE();
        box.headerSize = 16;
    }
    box.ok = r.Ok();
    return box;
}

// The position of the last separator of a path, or -1.
int32_t LastSeparator(const char* path) {
    int32_t last = -1;
    for (int32_t index = 0; path[index] != '\0'; ++index) {
        if (Path::IsSeparator(path[index])) {
            last = index;
        }
    }
    return last;
}

// Records of the first kind: time, camera, file index, 32-bit offset, size.
MultiFileImageInfo64 ReadFirstKindRecord(ByteReader& r) {
    MultiFileImageInfo64 item{};
    item.recordedTime = r.I64BE();
    item.camera = r.U16BE();
    item.fileIndex = r.U16BE();
    item.offset = r.U32BE();
    item.size = r.U32BE();
    return item;
}

// Records of the second kind: the size comes before the offset, which is 64 bits wide.
MultiFileImageInfo64 ReadSecondKindRecord(ByteReader& r) {
    MultiFileImageInfo64 item{};
    item.recordedTime = r.I64BE();
    item.camera = r.U16BE();
    item.fileIndex = r.U16BE();
    item.size = r.U32BE();
    item.offset = r.U64BE();
    return item;
}

// The exporter stores frames with their bytes swapped: a JPEG 2000 file in groups of four, a JPEG
// image in pairs. Swapping again puts them back; a tail shorter than a group stays as it is.
void PutBackInOrder(uint8_t* bytes, uint32_t size, uint32_t group) {
    for (uint32_t at = 0; at + group <= size; at += group) {
        std::reverse(bytes + at, bytes + at + group);
    }
}

} // namespace

void DecodeLorikanVix::ForgetRecording() {
    frames.Clear();
    cameras.Clear();
    dataFiles.clear();
    frameBuffer.Free();
    std::memset(companionText, 0, sizeof companionText);
    basePath[0] = '\0';
    image = ImageDescription{};
    secondKind = false;
    fileId = -1;
    fileSize = 0;
    indexHeaderEnd = recordStart = recordCount = recordsRead = 0;
    currentFileIndex = -1;
    dataFileSize = fetchOffset = 0;
    fetchSize = fetched = 0;
}

// ---- the index header: image description, data files and cameras ----

bool DecodeLorikanVix::ParseIndexHeader(ByteView payload) {
    using Parse = bool (DecodeLorikanVix::*)(ByteView body);
    static constexpr TypeStep<Parse> SubBoxes[] = {
        {FourCCBE("iinf"), &DecodeLorikanVix::ParseImageDescription},
        {FourCCBE("fset"), &DecodeLorikanVix::ParseFileTable},
        {FourCCBE("cset"), &DecodeLorikanVix::ParseCameraTable},
    };
    for (size_t at = 0; at < payload.Size();) {
        VixBox box = ReadBox(payload, at);
        if (!box.ok || box.size < box.headerSize || box.size > payload.Size() - at) {
            return false;
        }
        bool parsed = false;
        ByteView body = payload.Sub(at + box.headerSize, box.size - box.headerSize);
        if (!DispatchByType(SubBoxes, box.type, [&](Parse parse) { parsed = (this->*parse)(body); }) ||
            !parsed) {
            return false;
        }
        at += box.size;
    }
    return true;
}

bool DecodeLorikanVix::ParseImageDescription(ByteView body) {
    ByteReader r(body);
    uint32_t versionAndFlags = r.U32BE();
    image.formatType = r.U32BE();
    image.width = r.I32BE();
    image.height = r.I32BE();
    image.aspectX = r.I32BE();
    image.aspectY = r.I32BE();
    image.colour = r.U32BE() != 0;
    return r.Ok() && versionAndFlags <= 0xFFFFFF && image.formatType <= 1;
}

// Entries are read while six bytes remain; a name that runs past the box refuses the table.
bool DecodeLorikanVix::ParseFileTable(ByteView body) {
    ByteReader r(body);
    uint32_t version = r.U32BE() >> 24;
    int32_t count = r.I32BE();
    if (!r.Ok() || version > 1) {
        return false;
    }
    for (int32_t entry = 0; entry < count && r.Remaining() >= 6; ++entry) {
        DataFile file{};
        file.value = version == 0 ? r.U32BE() : r.U64BE();
        uint8_t nameLength = r.U8();
        if (!r.Text(nameLength, file.name) || !r.Ok()) {
            return false;
        }
        dataFiles.push_back(file);
    }
    return true;
}

// Entries that would pass the end of the box are dropped.
bool DecodeLorikanVix::ParseCameraTable(ByteView body) {
    ByteReader r(body);
    uint32_t versionAndFlags = r.U32BE();
    int32_t count = r.I32BE();
    if (!r.Ok() || versionAndFlags > 0xFFFFFF) {
        return false;
    }
    for (int32_t entry = 0; entry < count && r.Remaining() >= sizeof(CameraTag); ++entry) {
        CameraTag camera{};
        camera.number = r.U16BE();
        r.Text(CameraNameLength, camera.name);
        cameras.Set(camera);
    }
    return true;
}

// ---- loading: the companion text, the index header, then the frame records ----

// The companion text is named like the index with the extension "txt", in the index's folder.
DecoderAction DecodeLorikanVix::LoadingCore() {
    Reset();
    char directory[MaxPathLength] = {};
    char mask[MaxPathLength] = "*.txt";
    const int32_t separator = LastSeparator(loadName);
    if (separator >= 0) {
        std::snprintf(directory, sizeof directory, "%.*s", separator, loadName);
        std::snprintf(mask, sizeof mask, "%s", loadName + separator + 1);
        if (char* point = std::strrchr(mask, '.'); point != nullptr) {
            std::snprintf(point + 1, sizeof mask - static_cast<size_t>(point + 1 - mask), "txt");
        }
    }
    return ListFiles(directory, mask, 1, &DecodeLorikanVix::OnListed);
}

DecoderAction DecodeLorikanVix::OnListed(bool ok, FileList& listed) {
    const int32_t found = ok ? listed.Count() : 0;
    if (found > 1) {
        return Fail("DecodeLorikanVix::LoadingFileListComplete too many files\n");
    }
    const int32_t separator = LastSeparator(loadName);
    if (found == 0 || separator < 0) {
        return OpenIndex();
    }
    char path[MaxPathLength];
    std::snprintf(path, sizeof path, "%.*s/%s", separator, loadName, listed.GetAt(0));
    return Open(path, &DecodeLorikanVix::OnCompanionOpened, nullptr);
}

// A companion text of under 256 bytes ends the load without a word, as a short index does.
DecoderAction DecodeLorikanVix::OnCompanionOpened(int32_t newFileId, uint64_t newFileSize) {
    if (newFileId == -1 || newFileSize == 0) {
        return Fail("%s", BadOpen);
    }
    if (newFileSize < FileHeadSize) {
        return DecoderFailure();
    }
    fileId = newFileId;
    return Read(fileId, 0, static_cast<uint32_t>(std::min<uint64_t>(newFileSize, CompanionTextSize)),
                &DecodeLorikanVix::OnCompanionText, BadResult);
}

// Every byte below 32 ends the text, so the folder is the first line.
DecoderAction DecodeLorikanVix::OnCompanionText(ByteView text) {
    std::memset(companionText, 0, sizeof companionText);
    for (size_t at = 0; at < text.Size() && at < CompanionTextSize; ++at) {
        companionText[at] = text.U8(at) < 32 ? '\0' : static_cast<char>(text.U8(at));
    }
    return Close(fileId, &DecodeLorikanVix::OnCompanionClosed);
}

DecoderAction DecodeLorikanVix::OnCompanionClosed(int32_t) {
    fileId = -1;
    return OpenIndex();
}

DecoderAction DecodeLorikanVix::OpenIndex() {
    return Open(loadName, &DecodeLorikanVix::OnIndexOpened, nullptr);
}

// The data files' folder is the companion text with a separator behind it.
DecoderAction DecodeLorikanVix::OnIndexOpened(int32_t newFileId, uint64_t newFileSize) {
    if (newFileId == -1 || newFileSize == 0) {
        return Fail("%s", BadOpen);
    }
    if (newFileSize < FileHeadSize) {
        return DecoderFailure();
    }
    fileId = newFileId;
    fileSize = newFileSize;
    const size_t length = strnlen(companionText, CompanionTextSize);
    std::memcpy(basePath, companionText, length);
    basePath[length] = '\0';
    if (length > 0 && length < CompanionTextSize && !Path::IsSeparator(basePath[length - 1])) {
        basePath[length] = '/';
        basePath[length + 1] = '\0';
    }
    return Read(fileId, 0, FileHeadSize, &DecodeLorikanVix::OnFileHead, BadResult);
}

// Signature, "ftyp" with the brand "vix ", and the header of "ixhd" behind it.
DecoderAction DecodeLorikanVix::OnFileHead(ByteView head) {
    if (!head.Matches(0, Signature)) {
        return Fail("DecodeLorikanVix::LoadingReadComplete failed with bad file signature\n");
    }
    const VixBox fileType = ReadBox(head, Signature.size());
    if (fileType.type != FourCCBE("ftyp")) {
        return Fail("DecodeLorikanVix::LoadingReadComplete failed ftyp expected\n");
    }
    if (head.U32BE(Signature.size() + fileType.headerSize) != FourCCBE("vix ")) {
        return Fail("DecodeLorikanVix::LoadingReadComplete failed not vix type\n");
    }
    if (fileType.size >= HeaderBoxLimit - Signature.size()) {
        return Fail("DecodeLorikanVix::LoadingReadComplete failed bad box size\n");
    }
    const uint64_t headerAt = Signature.size() + fileType.size;
    const VixBox header = ReadBox(head, headerAt);
    if (header.type != FourCCBE("ixhd") || header.size < header.headerSize) {
        return Fail("DecodeLorikanVix::LoadingReadComplete failed ixhd not found\n");
    }
    if (header.size - header.headerSize > ReadBuffer::MaxCapacity) {
        return Fail("%s", BadResult);
    }
    indexHeaderEnd = headerAt + header.size;
    const auto payloadSize = static_cast<uint32_t>(header.size - header.headerSize);
    if (payloadSize == 0) {
        return OnIndexHeader(ByteView());
    }
    return Read(fileId, headerAt + header.headerSize, payloadSize, &DecodeLorikanVix::OnIndexHeader,
                BadResult);
}

DecoderAction DecodeLorikanVix::OnIndexHeader(ByteView payload) {
    if (!ParseIndexHeader(payload)) {
        return Fail("DecodeLorikanVix::LoadingReadComplete failed ParseIndexHeader\n");
    }
    return Read(fileId, indexHeaderEnd, 20, &DecodeLorikanVix::OnFrameIndexHead, BadResult);
}

// "ixbd" records are 20 bytes, and a box size below 8 takes the rest of the file; "ixb2" records
// are 24 bytes behind a version word.
DecoderAction DecodeLorikanVix::OnFrameIndexHead(ByteView head) {
    const VixBox box = ReadBox(head, 0);
    recordStart = indexHeaderEnd + box.headerSize;
    uint64_t payloadSize = box.size >= box.headerSize ? box.size - box.headerSize : 0;
    if (box.type == FourCCBE("ixbd")) {
        if (box.size < 8 && box.size != 1) {
            payloadSize = fileSize > recordStart ? fileSize - recordStart : 0;
        }
        secondKind = false;
        recordCount = payloadSize / 20;
    } else if (box.type == FourCCBE("ixb2")) {
        if (head.U32BE(box.headerSize) >> 24 != 1) {
            return Fail("DecodeLorikanVix::LoadingReadComplete failed unexpected version\n");
        }
        secondKind = true;
        recordStart += 4;
        recordCount = payloadSize >= 4 ? (payloadSize - 4) / 24 : 0;
    } else {
        return Fail("DecodeLorikanVix::LoadingReadComplete failed not ixbd or ixb2\n");
    }
    recordsRead = 0;
    return ReadRecords();
}

// Blocks of up to 128 records; the second kind reports its progress before each.
DecoderAction DecodeLorikanVix::ReadRecords() {
    if (recordsRead == recordCount) {
        return FinishIndex();
    }
    if (secondKind) {
        ReportProgress(static_cast<double>(recordsRead) / static_cast<double>(recordCount));
    }
    const uint32_t recordSize = secondKind ? 24 : 20;
    const auto block = static_cast<uint32_t>(std::min<uint64_t>(RecordsPerRead, recordCount - recordsRead));
    return Read(fileId, recordStart + recordsRead * recordSize, block * recordSize,
                &DecodeLorikanVix::OnRecords, BadResult);
}

DecoderAction DecodeLorikanVix::OnRecords(ByteView records) {
    const uint32_t recordSize = secondKind ? 24 : 20;
    IndexRows rows(records, 0, records.Size() / recordSize, recordSize);
    rows.ForEach([this](ByteReader& r) {
        frames.Append(secondKind ? ReadSecondKindRecord(r) : ReadFirstKindRecord(r));
    });
    recordsRead += rows.Count();
    return ReadRecords();
}

// The first kind keeps no image description of its own: its frames are 720 x 288 colour JPEG 2000.
DecoderAction DecodeLorikanVix::FinishIndex() {
    totalFrames = frames.Count();
    if (!secondKind) {
        image.formatType = 0;
        imageWidth = 720;
        imageHeight = 288;
        colour = true;
    } else {
        imageWidth = image.width;
        imageHeight = image.height;
        aspectX = image.aspectX;
        aspectY = image.aspectY;
        colour = image.colour;
    }
    SetTimeSpan(frames.GetFirstTime(), frames.GetLastTime());
    frames.AssignStreamTimes();
    return Close(fileId, &DecodeLorikanVix::OnIndexClosed);
}

DecoderAction DecodeLorikanVix::OnIndexClosed(int32_t) {
    fileId = -1;
    currentFileIndex = -1;
    Log(LogEvent, "DecodeLorikanVix loaded with %d frames\n", totalFrames);
    return DDA_COMPLETE;
}

void DecodeLorikanVix::GetFrameCamera(CameraTag* camera) {
    cameras.GetByNumber(frames.ItemAt(currentFrame).camera, *camera);
}

// ---- fetching a frame: piece by piece through the data files it spans ----

DecoderAction DecodeLorikanVix::DecompressingCore() {
    const MultiFileImageInfo64& item = frames.ItemAt(currentFrame);
    fetchOffset = item.offset;
    fetchSize = item.size;
    fetched = 0;
    if (fetchSize == 0) {
        return DDA_COMPLETE;
    }
    if (!frameBuffer.Resize(fetchSize)) {
        return Fail("DecodeLorikanVix::DecompressingReadComplete failed with bad result\n");
    }
    if (fileId != -1 && item.fileIndex == currentFileIndex) {
        return ReadPiece();
    }
    return fileId != -1 ? Close(fileId, &DecodeLorikanVix::OnFetchClosed) : OpenDataFile();
}

DecoderAction DecodeLorikanVix::OnFetchClosed(int32_t) {
    fileId = -1;
    return OpenDataFile();
}

// A frame starts in its own data file and runs on into the next ones of the table.
DecoderAction DecodeLorikanVix::OpenDataFile() {
    currentFileIndex = fetched == 0 ? frames.ItemAt(currentFrame).fileIndex : currentFileIndex + 1;
    char path[MaxPathLength] = {};
    if (currentFileIndex >= 0 && currentFileIndex < static_cast<int32_t>(dataFiles.size()) &&
        std::snprintf(path, sizeof path, "%s%s", basePath, dataFiles[currentFileIndex].name) >=
            MaxPathLength) {
        path[0] = '\0';
    }
    return Open(path, &DecodeLorikanVix::OnDataOpened, nullptr);
}

DecoderAction DecodeLorikanVix::OnDataOpened(int32_t newFileId, uint64_t newFileSize) {
    fileId = newFileId;
    dataFileSize = newFileSize;
    if (newFileId == -1 || newFileSize == 0) {
        currentFileIndex = -1;
        return Fail("DecodeLorikanVix::DecompressingOpenComplete failed with bad fileId or fileSize\n");
    }
    return ReadPiece();
}

// What is left of the frame, as far as this data file holds it.
DecoderAction DecodeLorikanVix::ReadPiece() {
    const uint64_t held = dataFileSize > fetchOffset ? dataFileSize - fetchOffset : 0;
    const auto size = static_cast<uint32_t>(std::min<uint64_t>(fetchSize - fetched, held));
    return Read(fileId, fetchOffset, size, &DecodeLorikanVix::OnPiece,
                "DecodeLorikanVix::DecompressingReadComplete failed with bad result\n");
}

DecoderAction DecodeLorikanVix::OnPiece(ByteView piece) {
    const auto size = static_cast<uint32_t>(std::min<size_t>(piece.Size(), fetchSize - fetched));
    if (size > 0) {
        std::memcpy(frameBuffer.Data() + fetched, piece.Data(), size);
    }
    fetched += size;
    fetchOffset = 0;
    if (fetched < fetchSize) {
        return Close(fileId, &DecodeLorikanVix::OnFetchClosed);
    }
    if (image.formatType > 1) {
        return Fail("DecodeLorikanVix::DecompressingReadComplete failed with bad formatType\n");
    }
    PutBackInOrder(frameBuffer.Data(), fetchSize, image.formatType == 0 ? 4 : 2);
    return DDA_COMPLETE;
}

// The decoders are given the whole buffer: a picture ends at its own end marker.
bool DecodeLorikanVix::GetImage(int32_t bufferSize, uint8_t* buffer) {
    if (fetchSize == 0 || fetched < fetchSize || buffer == nullptr || bufferSize <= 0) {
        return false;
    }
    switch (image.formatType) {
    case 0:
        return Jpeg2000Decode(true, frameBuffer.Capacity(), frameBuffer.Data(), buffer,
                              static_cast<uint32_t>(bufferSize));
    case 1:
        return JpegDecodeToBuffer(jpegScratch, frameBuffer.Data(),
                                  static_cast<int32_t>(frameBuffer.Capacity()), buffer, bufferSize);
    default:
        return false;
    }
}

} // namespace Vorn::Vorncast::Decoders
