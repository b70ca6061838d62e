#include "formats/parvu/DecodeParVu.h"

#include "codecs/jpeg/JpegHeaderTemplate.h"
#include "core/framelists/TimeComparer.h"
#include "core/time/Ticks.h"
#include "formats/shared/FrameListQueries.h"

#include <cstdio>
#include <cstring>
#include <strings.h>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr uint32_t VidMagic10 = 0xDECADE10;
constexpr uint32_t VidMagic11 = 0xDECADE11;
constexpr uint32_t MaxDataLength = 0x100000;
constexpr size_t CameraTextLength = 31;
constexpr uint32_t PartitionMagic = 0x524150; // "PAR" and a zero
constexpr uint32_t PartitionHeaderSize = 28;
constexpr uint32_t SectionSize = 24;
constexpr uint32_t FrameRecordSize = 16;
constexpr uint32_t CameraRecordSize = 64;

// The 168-byte header in front of every picture of a vid file.
struct VidHeader {
    uint32_t magic;
    uint32_t headerless; // 1: a JPEG scan without its headers
    uint32_t byteOrder;  // also the sampling choice of a headerless JPEG: 1 gives 4:2:0
    uint32_t distance;   // from the header's end to the data
    uint32_t length;
    uint32_t quality;
    char camera[CameraTextLength + 1];
    uint16_t height;
    uint16_t width;

    bool MagicOk() const { return magic == VidMagic10 || magic == VidMagic11; }
    uint64_t Span() const { return uint64_t{168} + distance + length; }
};

VidHeader ReadVidHeader(ByteView bytes) {
    ByteReader r(bytes);
    VidHeader h{};
    h.magic = r.U32LE();
    h.headerless = r.U32LE();
    r.Skip(4); // not read
    h.byteOrder = r.U32LE();
    h.distance = r.U32LE();
    h.length = r.U32LE();
    r.Skip(8); // not read
    h.quality = r.U32LE();
    r.Skip(20); // not read
    r.Text(CameraTextLength, h.camera);
    r.Skip(35); // not read
    h.height = r.U16LE();
    h.width = r.U16LE();
    return h;
}

// The name without its extension, for pairing idx and vid files.
bool SameStem(const char* a, const char* b) {
    const char* dotA = std::strrchr(a, '.');
    const char* dotB = std::strrchr(b, '.');
    const size_t lengthA = dotA != nullptr ? static_cast<size_t>(dotA - a) : std::strlen(a);
    const size_t lengthB = dotB != nullptr ? static_cast<size_t>(dotB - b) : std::strlen(b);
    return lengthA == lengthB && strncasecmp(a, b, lengthA) == 0;
}

} // namespace

void DecodeParVu::ForgetRecording() {
    frames.Clear();
    idxFiles.Clear();
    vidFiles.Clear();
    fileIndex = 0;
    fileId = -1;
    fileSize = 0;
    firstOfFile = 0;
    headerFrame = 0;
    pictureWidth = 0;
    pictureHeight = 0;
    fetchFileId = -1;
    fetchFileIndex = -1;
    fetchFrame = -1;
    fetchCamera = nullptr;
    mpeg4Cameras.clear();
    partitions = false;
    sections.clear();
    imageValid = false;
    imageIsJpeg = false;
    jpeg.clear();
}

// ---- query: the first word of a partition or a vid file ----

DecoderAction DecodeParVu::QueryingCore() {
    return Open(loadName, &DecodeParVu::OnQueryOpened, nullptr);
}

DecoderAction DecodeParVu::OnQueryOpened(int32_t newFileId, uint64_t newFileSize) {
    if (newFileId == -1 || newFileSize < 4) {
        return DecoderFailure();
    }
    fileId = newFileId;
    return Read(fileId, 0, 4, &DecodeParVu::OnQueryMagic, nullptr);
}

DecoderAction DecodeParVu::OnQueryMagic(ByteView magic) {
    const char* dot = std::strrchr(loadName, '.');
    const bool par = dot != nullptr && strcasecmp(dot, ".par") == 0;
    const uint32_t word = magic.U32LE(0);
    queryConfidence =
        (par ? magic.Matches(0, std::string_view("PAR\0", 4)) : word == VidMagic10 || word == VidMagic11)
            ? 100
            : 0;
    if (queryConfidence == 0) {
        return DecoderFailure();
    }
    return Close(fileId, &DecodeParVu::OnQueryClosed);
}

DecoderAction DecodeParVu::OnQueryClosed(int32_t) {
    fileId = -1;
    return DDA_COMPLETE;
}

// ---- loading: the idx and vid files of the folder, in pairs ----

DecoderAction DecodeParVu::LoadingCore() {
    Reset();
    const char* dot = std::strrchr(loadName, '.');
    if (dot == nullptr || std::strlen(dot + 1) < 3) {
        return Fail("DecodeParVu::LoadingCore failed because file extension is too short.\n");
    }
    if (std::strlen(loadName) > 261) {
        return Fail("DecodeParVu::LoadingCore failed because loadName is too long.\n");
    }
    const char* folder = idxFiles.ListingDirectoryOf(loadName);
    vidFiles.ListingDirectoryOf(loadName);
    if (strcasecmp(dot, ".par") == 0) {
        return ListFiles(folder, "*.par", 0, &DecodeParVu::OnParListed);
    }
    return ListFiles(folder, "*.idx", 0, &DecodeParVu::OnIdxListed);
}

DecoderAction DecodeParVu::OnParListed(bool ok, FileList& listed) {
    if (ok) {
        vidFiles.Take(listed);
        vidFiles.SortByName();
    }
    if (vidFiles.Count() == 0) {
        return Fail("DecodeParVu::LoadingFileListComplete failed with empty PAR list\n");
    }
    partitions = true;
    fileIndex = 0;
    return OpenPartition();
}

// ---- a partition: its header, its index of sections, the frame records of the sections ----

DecoderAction DecodeParVu::OpenPartition() {
    if (fileIndex == vidFiles.Count()) {
        return Finish();
    }
    return Open(vidFiles.PathAt(fileIndex), &DecodeParVu::OnPartitionOpened,
                "DecodeParVu::LoadingOpenComplete failed with invalid fileId\n");
}

DecoderAction DecodeParVu::OnPartitionOpened(int32_t newFileId, uint64_t newFileSize) {
    fileId = newFileId;
    fileSize = newFileSize;
    firstOfFile = frames.Count();
    return Read(fileId, 0, PartitionHeaderSize, &DecodeParVu::OnPartitionHeader,
                "DecodeParVu::LoadingReadComplete failed with bad magic in partitionHeader\n");
}

// The header: the magic "PAR" and a zero, then the count of index entries.
DecoderAction DecodeParVu::OnPartitionHeader(ByteView header) {
    ByteReader r(header);
    const uint32_t magic = r.U32LE();
    const uint32_t entries = r.U32LE();
    r.Skip(20); // not read
    if (!r.Ok() || magic != PartitionMagic) {
        return Fail("DecodeParVu::LoadingReadComplete failed with bad magic in partitionHeader\n");
    }
    if (uint64_t{entries} * EntrySize > fileSize) {
        return Fail(
            "DecodeParVu::LoadingReadComplete failed because partitionIndexEntry has wrong section type\n");
    }
    return Read(
        fileId, PartitionHeaderSize, entries * EntrySize, &DecodeParVu::OnPartitionIndex,
        "DecodeParVu::LoadingReadComplete failed because partitionIndexEntry has wrong section type\n");
}

// An index entry: the type of a section and its offset in the partition.
DecoderAction DecodeParVu::OnPartitionIndex(ByteView index) {
    ByteReader r(index);
    sections.clear();
    while (r.Remaining() >= EntrySize) {
        const uint32_t type = r.U32LE();
        const uint32_t offset = r.U32LE();
        r.Skip(4); // not read
        if (type != FrameSection && type != CameraSection) {
            return Fail(
                "DecodeParVu::LoadingReadComplete failed because partitionIndexEntry has wrong section "
                "type\n");
        }
        sections.push_back({type, offset});
    }
    return ReadNextSection();
}

DecoderAction DecodeParVu::ReadNextSection() {
    if (sections.empty()) {
        headerFrame = firstOfFile;
        return ReadPictureHeader();
    }
    return Read(
        fileId, sections.front().offset, SectionSize, &DecodeParVu::OnSection,
        "DecodeParVu::LoadingReadComplete failed because partitionIndexEntry has wrong section type\n");
}

// A section: its type, as its index entry gives it, and the count of records behind it.
DecoderAction DecodeParVu::OnSection(ByteView section) {
    ByteReader r(section);
    const uint32_t type = r.U32LE();
    const uint32_t count = r.U32LE();
    const uint32_t recordSize = type == FrameSection ? FrameRecordSize : CameraRecordSize;
    if (type != sections.front().type ||
        sections.front().offset + SectionSize + uint64_t{count} * recordSize > fileSize) {
        return Fail(
            "DecodeParVu::LoadingReadComplete failed because partitionIndexEntry has wrong section type\n");
    }
    if (type != FrameSection || count == 0) {
        sections.erase(sections.begin());
        return ReadNextSection();
    }
    return Read(
        fileId, sections.front().offset + SectionSize, count * recordSize, &DecodeParVu::OnFrameRecords,
        "DecodeParVu::LoadingReadComplete failed because partitionIndexEntry has wrong section type\n");
}

// A frame record: the picture header's offset in the partition, the time in seconds, camera and
// kind, as an idx entry has them.
DecoderAction DecodeParVu::OnFrameRecords(ByteView records) {
    ByteReader r(records);
    while (r.Remaining() >= FrameRecordSize) {
        AppendEntry(r);
        r.Skip(4); // not read
    }
    sections.erase(sections.begin());
    return ReadNextSection();
}

void DecodeParVu::AppendEntry(ByteReader& r) {
    ParVuFrameItem item{};
    item.offset = r.U32LE();
    item.recordedTime = TicksFromUnixSeconds(r.I32LE());
    item.streamTime = item.recordedTime;
    item.camera.number = r.U16LE();
    item.kind = r.U16LE();
    item.fileIndex = fileIndex;
    frames.Append(item);
}

// ---- separate idx and vid files ----

DecoderAction DecodeParVu::OnIdxListed(bool ok, FileList& listed) {
    if (ok) {
        idxFiles.Take(listed);
        idxFiles.SortByName();
    }
    if (idxFiles.Count() == 0) {
        return Fail("DecodeParVu::LoadingFileListComplete failed with empty IDX list\n");
    }
    return ListFiles(vidFiles.ListingDirectoryOf(loadName), "*.vid", 0, &DecodeParVu::OnVidListed);
}

DecoderAction DecodeParVu::OnVidListed(bool ok, FileList& listed) {
    if (ok) {
        vidFiles.Take(listed);
        vidFiles.SortByName();
    }
    if (vidFiles.Count() == 0) {
        return Fail("DecodeParVu::LoadingFileListComplete failed with empty VID list\n");
    }
    if (vidFiles.Count() != idxFiles.Count()) {
        return Fail("DecodeParVu::LoadingFileListComplete idx file list length does not match vid file list "
                    "length\n");
    }
    for (int32_t index = 0; index < idxFiles.Count(); ++index) {
        const char* idx = idxFiles.Names().GetAt(index);
        const char* vid = vidFiles.Names().GetAt(index);
        if (!SameStem(idx, vid)) {
            return Fail("DecodeParVu::LoadingFileListComplete idx file list entry %d (%s) does not match vid "
                        "file list entry (%s)\n",
                        index, idx, vid);
        }
    }
    fileIndex = 0;
    return OpenIdx();
}

DecoderAction DecodeParVu::OpenIdx() {
    if (fileIndex == idxFiles.Count()) {
        return Finish();
    }
    return Open(idxFiles.PathAt(fileIndex), &DecodeParVu::OnIdxOpened,
                "DecodeParVu::LoadingOpenComplete failed with invalid fileId\n");
}

DecoderAction DecodeParVu::OnIdxOpened(int32_t newFileId, uint64_t newFileSize) {
    fileId = newFileId;
    firstOfFile = frames.Count();
    const uint64_t entries = newFileSize / EntrySize;
    if (entries == 0 || entries > (uint64_t{1} << 24)) {
        return Close(fileId, &DecodeParVu::OnIdxClosed);
    }
    return Read(fileId, 0, static_cast<uint32_t>(entries * EntrySize), &DecodeParVu::OnIdxEntries,
                "DecodeParVu::LoadingReadComplete failed with bad result\n");
}

// An entry: the picture header's offset in the vid file, the time in seconds, camera and kind.
DecoderAction DecodeParVu::OnIdxEntries(ByteView entries) {
    ByteReader r(entries);
    while (r.Remaining() >= EntrySize) {
        AppendEntry(r);
    }
    return Close(fileId, &DecodeParVu::OnIdxClosed);
}

DecoderAction DecodeParVu::OnIdxClosed(int32_t) {
    return Open(vidFiles.PathAt(fileIndex), &DecodeParVu::OnVidOpened,
                "DecodeParVu::LoadingOpenComplete failed with invalid fileId\n");
}

DecoderAction DecodeParVu::OnVidOpened(int32_t newFileId, uint64_t newFileSize) {
    fileId = newFileId;
    fileSize = newFileSize;
    headerFrame = firstOfFile;
    return ReadPictureHeader();
}

DecoderAction DecodeParVu::ReadPictureHeader() {
    const int32_t done = headerFrame - firstOfFile;
    const int32_t inFile = std::max(1, frames.Count() - firstOfFile);
    ReportProgress((static_cast<double>(done) / inFile + fileIndex) * 95 / idxFiles.Count() / 100);
    if (headerFrame == frames.Count()) {
        return Close(fileId, &DecodeParVu::OnVidClosed);
    }
    return TryRead(fileId, frames.GetAt(headerFrame).offset, HeaderSize, &DecodeParVu::OnPictureHeaderRead);
}

DecoderAction DecodeParVu::OnPictureHeaderRead(bool ok, ByteView bytes) {
    const VidHeader header = ReadVidHeader(bytes);
    ParVuFrameItem* item = frames.RecordAt(headerFrame);
    if (!ok || !header.MagicOk() || header.length > MaxDataLength ||
        item->offset + header.Span() > fileSize) {
        return Fail("DecodeParVu::LoadingReadComplete (LS_VID_FILE) Failing due to Invalid last image\n");
    }
    if (pictureWidth == 0 && pictureHeight == 0) {
        pictureWidth = header.width;
        pictureHeight = header.height;
    }
    item->size = static_cast<uint32_t>(header.Span());
    std::snprintf(item->camera.name, sizeof item->camera.name, "%s", header.camera);
    ++headerFrame;
    return ReadPictureHeader();
}

DecoderAction DecodeParVu::OnVidClosed(int32_t) {
    fileId = -1;
    ++fileIndex;
    return partitions ? OpenPartition() : OpenIdx();
}

DecoderAction DecodeParVu::Finish() {
    if (frames.Count() == 0) {
        return partitions ? Fail("DecodeParVu failed because no frames were found (1)\n")
                          : Fail("DecodeParVu failed because no frames were found (2)\n");
    }
    if (pictureWidth == 0 || pictureHeight == 0) {
        return Fail("DecodeParVu::LoadingReadComplete width or height from videoHeader is zero, failing!\n");
    }
    TimeComparer<ParVuFrameItem> byTime;
    frames.Sort(byTime);
    frames.AssignStreamTimes();
    SetTimeSpan(TimesOfFrame(frames.GetAt(0)), TimesOfFrame(frames.GetAt(frames.Count() - 1)));
    SetImageFormat(pictureWidth, pictureHeight, pictureWidth, pictureHeight, true, frames.Count());
    ReportProgress(1.0);
    return DDA_COMPLETE;
}

// ---- fetching a frame: one read for a JPEG, the walk of its camera for MPEG-4 ----

DecoderAction DecodeParVu::DecompressingCore() {
    imageValid = false;
    const ParVuFrameItem frame = frames.GetAt(currentFrame);
    if ((frame.kind & 0xFF) == Mpeg4Kind) {
        return StartMpeg4Walk();
    }
    fetchCamera = nullptr;
    fetchFrame = currentFrame;
    return ReadFetchFrame();
}

// The walk goes on behind the camera's last decoded frame, or starts at its nearest key frame.
DecoderAction DecodeParVu::StartMpeg4Walk() {
    const uint16_t camera = frames.GetAt(currentFrame).camera.number;
    std::unique_ptr<Mpeg4Camera>& slot = mpeg4Cameras[camera];
    if (slot == nullptr) {
        slot = std::make_unique<Mpeg4Camera>();
        if (!slot->decoder.Initialise(pictureWidth, pictureHeight, 3, false)) {
            slot.reset();
            Log(LogCore, "DecoderParVu::DecompressingCore setting imageValid = false because "
                         "currentMpeg4Camera is null\n");
            return DDA_COMPLETE;
        }
        slot->picture.assign(static_cast<size_t>(pictureWidth) * static_cast<size_t>(pictureHeight) * 3, 0);
    }
    fetchCamera = slot.get();
    if (fetchCamera->lastDecoded == currentFrame) {
        imageValid = true;
        imageIsJpeg = false;
        return DDA_COMPLETE;
    }
    for (int32_t frame = currentFrame; frame >= 0; frame = PreviousFrameOfCamera(frames, frame, camera)) {
        if (frame == fetchCamera->lastDecoded) {
            fetchFrame = NextFrameOfCamera(frames, frame, camera);
            return ReadFetchFrame();
        }
        if ((frames.GetAt(frame).kind & KeyFrameMark) != 0) {
            fetchCamera->decoder.Reset();
            fetchFrame = frame;
            return ReadFetchFrame();
        }
    }
    Log(LogCore, "DecoderParVu::DecompressingCore setting imageValid = false because there is no starting "
                 "point for decompressing\n");
    return DDA_COMPLETE;
}

DecoderAction DecodeParVu::ReadFetchFrame() {
    const ParVuFrameItem frame = frames.GetAt(fetchFrame);
    if (fetchFileIndex != frame.fileIndex) {
        if (fetchFileId != -1) {
            return Close(fetchFileId, &DecodeParVu::OnFetchClosed);
        }
        return Open(vidFiles.PathAt(frame.fileIndex), &DecodeParVu::OnFetchOpened,
                    "DecodeParVu::DecompressingReadComplete failed with bad result\n");
    }
    return Read(fetchFileId, frame.offset, frame.size, &DecodeParVu::OnFetchFrame,
                "DecodeParVu::DecompressingReadComplete failed with bad result\n");
}

DecoderAction DecodeParVu::OnFetchClosed(int32_t) {
    fetchFileId = -1;
    fetchFileIndex = -1;
    return ReadFetchFrame();
}

DecoderAction DecodeParVu::OnFetchOpened(int32_t newFileId, uint64_t) {
    fetchFileId = newFileId;
    fetchFileIndex = frames.GetAt(fetchFrame).fileIndex;
    return ReadFetchFrame();
}

DecoderAction DecodeParVu::OnFetchFrame(ByteView bytes) {
    const VidHeader header = ReadVidHeader(bytes);
    if (!header.MagicOk()) {
        Log(LogCore, "DecoderParVu::DecompressingReadComplete setting imageValid = false because "
                     "videHeader->version isn't valid\n");
        return DDA_COMPLETE;
    }
    if (header.length > MaxDataLength) {
        return Fail("DecodeParVu::DecompressingReadComplete failing because vidHeader indicates too large an "
                    "image size\n");
    }
    std::snprintf(frames.RecordAt(fetchFrame)->camera.name, CameraNameLength, "%s", header.camera);
    const ByteView data = bytes.Sub(HeaderSize + header.distance, header.length);
    return fetchCamera == nullptr ? TakeJpeg(bytes, data) : TakeMpeg4(data);
}

// A JPEG without its headers gets the standard ones, made to the picture's size, sampling and
// quality, and an end marker.
DecoderAction DecodeParVu::TakeJpeg(ByteView bytes, ByteView data) {
    const VidHeader header = ReadVidHeader(bytes);
    jpeg.clear();
    if (header.headerless == 1) {
        jpeg.resize(StandardJpegHeader::Size);
        StandardJpegHeader::Write(jpeg.data(), header.width, header.height,
                                  header.byteOrder == 1 ? 0x22 : 0x21);
        StandardJpegHeader::SetQuality(jpeg.data(), static_cast<int32_t>(header.quality));
    }
    jpeg.insert(jpeg.end(), data.begin(), data.end());
    if (header.headerless == 1) {
        jpeg.push_back(0xFF);
        jpeg.push_back(0xD9);
    }
    imageValid = true;
    imageIsJpeg = true;
    return DDA_COMPLETE;
}

DecoderAction DecodeParVu::TakeMpeg4(ByteView data) {
    if (!fetchCamera->decoder.Decode(data.Data(), static_cast<int32_t>(data.Size()),
                                     fetchCamera->picture.data(),
                                     static_cast<int32_t>(fetchCamera->picture.size()))) {
        fetchCamera->lastDecoded = -1;
        return Fail("Decompress failed\n");
    }
    fetchCamera->lastDecoded = fetchFrame;
    if (fetchFrame == currentFrame) {
        imageValid = true;
        imageIsJpeg = false;
        return DDA_COMPLETE;
    }
    fetchFrame = NextFrameOfCamera(frames, fetchFrame, frames.GetAt(currentFrame).camera.number);
    return fetchFrame >= 0 ? ReadFetchFrame() : Fail("Decompress failed\n");
}

bool DecodeParVu::GetImage(int32_t bufferSize, uint8_t* buffer) {
    if (!imageValid) {
        Log(LogCore, "DecodeParVu::GetImage failed because imageValid = false\n");
        return false;
    }
    if (imageIsJpeg) {
        if (!JpegDecodeToBuffer(jpegScratch, jpeg.data(), static_cast<int32_t>(jpeg.size()), buffer,
                                bufferSize)) {
            Log(LogCore, "DecodeParVu::GetImage decoder.Decode (JPEG) failed\n");
            return false;
        }
        return true;
    }
    const std::vector<uint8_t>& picture = fetchCamera->picture;
    if (bufferSize < 0 || static_cast<size_t>(bufferSize) < picture.size()) {
        return false;
    }
    std::memcpy(buffer, picture.data(), picture.size());
    return true;
}

} // namespace Vorn::Vorncast::Decoders
