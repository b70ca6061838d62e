#include "formats/vicon/DecodeViconNet.h"

#include "core/binary/DecimalText.h"
#include "core/time/Ticks.h"
#include "formats/shared/MergeByTime.h"
#include "model/files/NameOrder.h"
#include "model/support/LogLevels.h"
#include "model/support/Path.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr uint32_t ConfigMinimumSize = 124;
constexpr uint32_t HeaderFileSize = 76;
constexpr uint32_t IndexEntrySize = 124;
constexpr uint32_t EntriesPerRead = 4096;
constexpr const char* ArchiveWord = "Archive ";
constexpr const char* LoadReadFailure = "DecodeViconNet::LoadingReadComplete failed with bad result\n";

bool IsKeyFrame(uint32_t frameType) {
    return frameType == 4114 || frameType == 4370;
}

// Frames of these types are never shown: a request for one shows the frame before.
bool IsPassedOver(uint32_t frameType) {
    return frameType == 4116 || frameType == 4372;
}

// An entry of the .1 index file, 124 bytes, little-endian.
struct IndexEntry {
    uint16_t width;
    uint16_t height;
    int64_t fileTime; // 100 ns since 1601
    uint32_t deltaOffset;
    uint32_t imageSize;
    int32_t imageOffset;
    uint32_t headerSize; // tables or bitmap behind the image
    uint32_t frameType;
};

IndexEntry ParseIndexEntry(ByteView bytes) {
    ByteReader r(bytes);
    IndexEntry entry{};
    entry.width = r.U16LE();
    entry.height = r.U16LE();
    r.Skip(8); // not read
    entry.fileTime = r.I64LE();
    r.Skip(40); // not read
    entry.deltaOffset = r.U32LE();
    entry.imageSize = r.U32LE();
    r.Skip(4); // not read
    entry.imageOffset = r.I32LE();
    entry.headerSize = r.U32LE();
    r.Skip(8); // not read
    entry.frameType = r.U32LE();
    return entry;
}

// The position of the last "Archive " in `directory` that names an archive folder by its date and
// time, or npos.
size_t FindArchiveName(std::string_view directory) {
    for (size_t at = directory.rfind(ArchiveWord); at != std::string_view::npos;
         at = at == 0 ? std::string_view::npos : directory.rfind(ArchiveWord, at - 1)) {
        std::string name(directory.substr(at));
        int fields[6];
        if (std::sscanf(name.c_str(), "Archive %02d-%02d-%02d %02d.%02d.%02d", &fields[0], &fields[1],
                        &fields[2], &fields[3], &fields[4], &fields[5]) == 6) {
            return at;
        }
    }
    return std::string_view::npos;
}

std::string_view ExtensionOf(std::string_view name) {
    size_t point = name.rfind('.');
    return point == std::string_view::npos ? std::string_view() : name.substr(point + 1);
}

using NameOrder::EqualIgnoringCase;

} // namespace

void DecodeViconNet::ForgetRecording() {
    frames.Clear();
    archiveFolder.clear();
    parentFolder.clear();
    slices.clear();
    videoFiles.clear();
    cameraNames.clear();
    cameras.clear();
    sliceIndex = 0;
    videoFileIndex = 0;
    fileId = -1;
    entryCount = 0;
    entryStride = 0;
    entriesRead = 0;
    indexFileSize = 0;
    fileCamera = {};
    openVideoFile = -1;
    targetFrame = -1;
    walkFrame = -1;
    imageValid = false;
}

// ---- loading: the configuration, the camera table, the slices' video files, the first image ----

DecoderAction DecodeViconNet::LoadingCore() {
    Reset();
    if (!Path::ExtensionIs(loadName, "vsb;0;1;2")) {
        return Fail("DecodeViconNet LoadingCore failed due to incorrect file extension");
    }
    cameras.resize(MaxCameras);
    Path::NameScan scan;
    std::string_view loaded(loadName);
    std::string_view directory = Path::ScanName(loaded, &scan) ? loaded.substr(0, scan.nameStart) : loaded;
    size_t archive = FindArchiveName(directory);
    if (archive == std::string_view::npos) {
        return Fail("DecodeViconNet::LoadingCore failed - Archive not found\n");
    }
    size_t end = archive;
    while (end < directory.size() && !Path::IsSeparator(directory[end])) {
        ++end;
    }
    archiveFolder = directory.substr(0, end);
    parentFolder = directory.substr(0, archive);
    ReportProgress(0.0);
    return ListFiles((archiveFolder + "/").c_str(), "storeCfg.vsb", 0, &DecodeViconNet::OnConfigListed);
}

DecoderAction DecodeViconNet::OnConfigListed(bool ok, FileList& listed) {
    if (!ok || listed.Count() == 0) {
        return Fail("DecodeViconNet LoadingFileListComplete failing due to storeCfg.vsb file not found\n");
    }
    return Open((archiveFolder + "/storecfg.vsb").c_str(), &DecodeViconNet::OnConfigOpened, nullptr);
}

// Without a configuration the archive folder is the only slice, and no camera table is read.
DecoderAction DecodeViconNet::OnConfigOpened(int32_t newFileId, uint64_t fileSize) {
    if (newFileId == -1 || fileSize == 0) {
        if (newFileId != -1) {
            Log(LogCore, "DecodeViconNet Zero length storecfg.vsb file ignored\n");
        }
        slices = {archiveFolder};
        return newFileId == -1 ? ListSlice(0) : Close(newFileId, &DecodeViconNet::OnCameraTableClosed);
    }
    if (fileSize < ConfigMinimumSize) {
        return Fail("DecodeViconNet LoadingOpenComplete failed because fileSize was too small for an index "
                    "entry\n");
    }
    fileId = newFileId;
    return Read(fileId, 0, static_cast<uint32_t>(std::min<uint64_t>(fileSize, UINT32_MAX)),
                &DecodeViconNet::OnConfig, LoadReadFailure);
}

// A configuration that fails to parse keeps the slices read before the failure.
DecoderAction DecodeViconNet::OnConfig(ByteView bytes) {
    ParseStoreConfig(bytes);
    ReportProgress(0.01);
    return Close(fileId, &DecodeViconNet::OnConfigClosed);
}

// The last four bytes are the sum of all bytes before them.
bool DecodeViconNet::ParseStoreConfig(ByteView bytes) {
    ByteView body = bytes.Sub(0, bytes.Size() - 4);
    uint32_t sum = 0;
    for (uint8_t byte : body) {
        sum += byte;
    }
    if (sum != bytes.U32LE(bytes.Size() - 4)) {
        return false;
    }
    ByteReader r(body);
    uint32_t version = r.U32LE();
    if (version == 1) {
        r.Seek(8);
        uint32_t length = r.U32LE();
        r.Skip(length + size_t{1}); // name, and a byte not read
        uint32_t entries = r.U32LE();
        // Each entry is 8 bytes and as many more as the name above had, and one.
        for (uint32_t entry = 0; entry < entries && r.Ok(); ++entry) {
            r.Skip(8 + size_t{length} + 1);
        }
        return ReadSlices(r);
    }
    if (version != 3 && version != 4) {
        return false;
    }
    r.Seek(12);
    uint32_t length = r.U32LE();
    r.Skip(length + size_t{1}); // name, and a byte not read
    if (version == 4) {
        uint32_t secondLength = r.U32LE();
        r.Skip(secondLength + size_t{5}); // second name, and five bytes not read
    }
    // A version 4 file gives its slices but counts as not parsed.
    return ReadSlices(r) && version == 3;
}

// Slice entries: video number, 4 bytes not read, the slice's path and a byte not read. The folder
// is the archive's parent, the path from its archive name on, and Video<n>.
bool DecodeViconNet::ReadSlices(ByteReader& r) {
    uint32_t count = r.U32LE();
    for (uint32_t slice = 0; slice < count && r.Ok(); ++slice) {
        uint32_t videoNumber = r.U32LE();
        r.Skip(4); // not read
        uint32_t pathLength = r.U32LE();
        ByteView pathBytes = r.Bytes(pathLength);
        r.Skip(1); // not read
        if (!r.Ok()) {
            return false;
        }
        std::string slicePath(reinterpret_cast<const char*>(pathBytes.Data()), pathBytes.Size());
        slicePath.resize(std::strlen(slicePath.c_str()));
        size_t archive = slicePath.find(ArchiveWord);
        if (archive == std::string::npos) {
            return false;
        }
        std::string folder =
            parentFolder + slicePath.substr(archive) + "/Video" + std::to_string(videoNumber);
        std::replace(folder.begin(), folder.end(), '\\', '/');
        slices.push_back(folder);
    }
    return r.Ok();
}

DecoderAction DecodeViconNet::OnConfigClosed(int32_t) {
    fileId = -1;
    return ListFiles((archiveFolder + "/").c_str(), "GDEVIDEN.?B?", 0, &DecodeViconNet::OnCameraTableListed);
}

DecoderAction DecodeViconNet::OnCameraTableListed(bool ok, FileList& listed) {
    if (!ok || listed.Count() == 0) {
        return Fail("DecodeViconNet LoadingFileListComplete failing due to missing vbt or dbf file\n");
    }
    std::snprintf(path, sizeof path, "%s/%s", archiveFolder.c_str(), listed.GetAt(0));
    return Open(path, &DecodeViconNet::OnCameraTableOpened, nullptr);
}

DecoderAction DecodeViconNet::OnCameraTableOpened(int32_t newFileId, uint64_t fileSize) {
    if (newFileId == -1) {
        return Fail("DecodeViconNet::LoadingOpenComplete failed with bad fileId\n");
    }
    fileId = newFileId;
    return Read(fileId, 0, static_cast<uint32_t>(std::min<uint64_t>(fileSize, UINT32_MAX)),
                &DecodeViconNet::OnCameraTable, LoadReadFailure);
}

// GDEVIDEN.vbt: a version, then stride and count whose places the version decides; record i
// starts at i x stride and holds the channel number at 36 and its name at 64.
DecoderAction DecodeViconNet::OnCameraTable(ByteView bytes) {
    if (EqualIgnoringCase(ExtensionOf(path), "dbf")) {
        ReadDbfCameraTable(bytes);
        return Close(fileId, &DecodeViconNet::OnCameraTableClosed);
    }
    uint32_t version = bytes.U32LE(0);
    if (version != 1 && version != 2) {
        return Fail("DecodeViconNet LoadingReadComplete failed GDEVIDEN file header is wrong version\n");
    }
    const size_t at = version == 2 ? 8 : 4;
    const uint32_t stride = bytes.U32LE(at);
    const uint32_t count = bytes.U32LE(at + 4);
    // A stride of 0 would name one record without end: such a table names no camera.
    for (uint32_t record = 0; stride > 0 && record < count && bytes.Has(uint64_t{record} * stride + 64, 64);
         ++record) {
        const size_t start = size_t{record} * stride;
        CameraName camera{bytes.U32LE(start + 36), {}};
        bytes.Text(start + 64, 64, camera.name);
        cameraNames.push_back(camera);
    }
    return Close(fileId, &DecodeViconNet::OnCameraTableClosed);
}

// GDEVIDEN.dbf: "0" first, the count at 4, the first record's offset at 8 and the stride at 10;
// each record holds the channel number at 28 and its name at 55.
void DecodeViconNet::ReadDbfCameraTable(ByteView bytes) {
    if (bytes.U8(0) != '0') {
        return;
    }
    const uint32_t count = bytes.U32LE(4);
    const int64_t first = bytes.I16LE(8);
    const int64_t stride = bytes.I16LE(10);
    for (uint32_t record = 0; stride > 0 && record < count; ++record) {
        const int64_t start = first + int64_t{record} * stride;
        if (start < 0 || !bytes.Has(static_cast<size_t>(start) + 55, 64)) {
            return;
        }
        CameraName camera{bytes.U32LE(static_cast<size_t>(start) + 28), {}};
        bytes.Text(static_cast<size_t>(start) + 55, 64, camera.name);
        cameraNames.push_back(camera);
    }
}

DecoderAction DecodeViconNet::OnCameraTableClosed(int32_t) {
    fileId = -1;
    ReportProgress(0.04);
    if (slices.empty()) {
        return Fail("DecodeViconNet LoadingFileListComplete failed due to an invalid sliceList index reading "
                    "camera names\n");
    }
    return ListSlice(0);
}

DecoderAction DecodeViconNet::ListSlice(int32_t slice) {
    sliceIndex = slice;
    return ListFiles((slices[static_cast<size_t>(slice)] + "/").c_str(), "*.?", 0,
                     &DecodeViconNet::OnSliceListed);
}

// A video file is a .0 with a .1 and a .2 of the same name beside it.
DecoderAction DecodeViconNet::OnSliceListed(bool ok, FileList& listed) {
    std::vector<std::string_view> names;
    for (int32_t index = 0; ok && index < listed.Count(); ++index) {
        names.emplace_back(listed.GetAt(index));
    }
    auto listedWith = [&names](std::string_view base, std::string_view extension) {
        return std::any_of(names.begin(), names.end(), [&](std::string_view name) {
            return name.size() == base.size() + 2 && EqualIgnoringCase(name.substr(0, base.size()), base) &&
                   name[base.size()] == '.' && name.substr(base.size() + 1) == extension;
        });
    };
    for (std::string_view name : names) {
        if (ExtensionOf(name) != "0") {
            continue;
        }
        std::string_view base = name.substr(0, name.size() - 2);
        if (listedWith(base, "1") && listedWith(base, "2")) {
            videoFiles.push_back({std::string(base), sliceIndex});
        }
    }
    if (sliceIndex + 1 < static_cast<int32_t>(slices.size())) {
        return ListSlice(sliceIndex + 1);
    }
    if (videoFiles.empty()) {
        return Fail("DecodeViconNet LoadingFileListComplete failed due to an empty videoFileList\n");
    }
    return IndexVideoFile(0);
}

// The path of a video file's part: its slice folder, its name and the extension.
const char* DecodeViconNet::VideoFilePath(int32_t videoFile, char extension) {
    const VideoFile& file = videoFiles[static_cast<size_t>(videoFile)];
    if (std::snprintf(path, sizeof path, "%s/%s.%c", slices[static_cast<size_t>(file.slice)].c_str(),
                      file.baseName.c_str(), extension) >= static_cast<int>(sizeof path)) {
        path[0] = '\0';
    }
    return path;
}

DecoderAction DecodeViconNet::IndexVideoFile(int32_t index) {
    videoFileIndex = index;
    if (index == static_cast<int32_t>(videoFiles.size())) {
        return MergeCameras();
    }
    ReportProgress(0.04 + 0.95 * index / static_cast<double>(videoFiles.size()));
    SetCameraOfFile(videoFiles[static_cast<size_t>(index)].baseName);
    return Open(VideoFilePath(index, '0'), &DecodeViconNet::OnHeaderFileOpened, nullptr);
}

// The channel is the number behind the last "_" of the name, named by the camera table; a name
// without one is camera 0 without a name.
void DecodeViconNet::SetCameraOfFile(const std::string& baseName) {
    fileCamera = {};
    size_t underscore = baseName.rfind('_');
    if (underscore == std::string::npos) {
        return;
    }
    int64_t number = 0;
    ParseDecimal(std::string_view(baseName).substr(underscore + 1), &number);
    fileCamera.number = static_cast<uint16_t>(number);
    for (const CameraName& camera : cameraNames) {
        if (camera.number == static_cast<uint64_t>(number)) {
            std::memcpy(fileCamera.name, camera.name, CameraNameLength);
            return;
        }
    }
    std::snprintf(fileCamera.name, CameraNameLength, "Channel %02d", static_cast<int>(number));
}

// Header files that are empty or too short leave their video file out.
DecoderAction DecodeViconNet::OnHeaderFileOpened(int32_t newFileId, uint64_t fileSize) {
    if (newFileId == -1) {
        return IndexVideoFile(videoFileIndex + 1);
    }
    fileId = newFileId;
    if (fileSize < HeaderFileSize) {
        if (fileSize == 0) {
            Log(LogCore, "DecodeViconNet Zero length index file ignored\n");
        }
        return Close(fileId, &DecodeViconNet::OnVideoFileDone);
    }
    return Read(fileId, 0, HeaderFileSize, &DecodeViconNet::OnHeaderFile, LoadReadFailure);
}

DecoderAction DecodeViconNet::OnHeaderFile(ByteView bytes) {
    ByteReader r(bytes, 24);
    entryCount = r.U32LE();
    entryStride = r.U32LE();
    int32_t headerFile = fileId;
    fileId = -1;
    return Close(headerFile, &DecodeViconNet::OnHeaderClosed);
}

DecoderAction DecodeViconNet::OnHeaderClosed(int32_t) {
    return Open(VideoFilePath(videoFileIndex, '1'), &DecodeViconNet::OnIndexFileOpened, nullptr);
}

// An index shorter than its entries leaves the video file out. Entries lie a stride apart and
// are read in batches; a stride of 0 would repeat one entry without end and is taken as too short.
DecoderAction DecodeViconNet::OnIndexFileOpened(int32_t newFileId, uint64_t fileSize) {
    if (newFileId == -1) {
        return IndexVideoFile(videoFileIndex + 1);
    }
    fileId = newFileId;
    indexFileSize = fileSize;
    entriesRead = 0;
    if (entryStride == 0 || fileSize < uint64_t{entryCount} * entryStride) {
        return Close(fileId, &DecodeViconNet::OnVideoFileDone);
    }
    return ReadIndexBatch();
}

DecoderAction DecodeViconNet::ReadIndexBatch() {
    if (entriesRead == entryCount) {
        return Close(fileId, &DecodeViconNet::OnVideoFileDone);
    }
    const uint32_t batch = std::min(EntriesPerRead, entryCount - entriesRead);
    const uint64_t start = uint64_t{entriesRead} * entryStride;
    const uint64_t end =
        std::min(indexFileSize, uint64_t{entriesRead + batch - 1} * entryStride + IndexEntrySize);
    entriesRead += batch;
    return Read(fileId, start, static_cast<uint32_t>(end - start), &DecodeViconNet::OnIndexBatch,
                LoadReadFailure);
}

// An entry that the end of the file cuts short is left out.
DecoderAction DecodeViconNet::OnIndexBatch(ByteView entries) {
    for (uint64_t at = 0; entries.Has(at, IndexEntrySize); at += entryStride) {
        AddEntry(entries.Sub(at, IndexEntrySize));
    }
    return ReadIndexBatch();
}

void DecodeViconNet::AddEntry(ByteView bytes) {
    if (fileCamera.number >= MaxCameras) {
        return;
    }
    IndexEntry entry = ParseIndexEntry(bytes);
    ViconNetMultiFileFrameInfo frame{};
    frame.recordedTime = StreamTimes::Add(entry.fileTime, FileTimeEpochTicks);
    frame.offset = static_cast<uint64_t>(int64_t{entry.imageOffset});
    frame.size = entry.imageSize;
    frame.camera = fileCamera;
    frame.videoFile = static_cast<int16_t>(videoFileIndex);
    frame.width = entry.width;
    frame.height = entry.height;
    frame.frameType = entry.frameType;
    frame.deltaOffset = entry.deltaOffset;
    frame.headerSize = entry.headerSize;
    cameras[fileCamera.number].frames.push_back(frame);
}

DecoderAction DecodeViconNet::OnVideoFileDone(int32_t) {
    fileId = -1;
    return IndexVideoFile(videoFileIndex + 1);
}

// Every camera with frames gets its decoder; the cameras' lists merge by time, the lower camera
// first among equal times.
DecoderAction DecodeViconNet::MergeCameras() {
    std::vector<std::vector<ViconNetMultiFileFrameInfo>*> lists;
    for (Camera& camera : cameras) {
        if (!camera.frames.empty()) {
            camera.decoder = std::make_unique<BlockJpegDecoder>();
            camera.lastDecoded = -1;
            lists.push_back(&camera.frames);
        }
    }
    if (lists.empty()) {
        return Fail("DecodeViconNet LoadingCloseComplete failing due to empty frameInfoList reading first "
                    "image\n");
    }
    MergeByLowestTime(lists,
                      [this](const ViconNetMultiFileFrameInfo& frame, size_t) { frames.Append(frame); });
    for (Camera& camera : cameras) {
        camera.frames = {};
    }
    return Open(VideoFilePath(frames.GetAt(0).videoFile, '2'), &DecodeViconNet::OnFirstImageOpened, nullptr);
}

DecoderAction DecodeViconNet::OnFirstImageOpened(int32_t newFileId, uint64_t fileSize) {
    const ViconNetMultiFileFrameInfo first = frames.GetAt(0);
    const uint64_t readSize = uint64_t{first.size} + first.headerSize;
    if (newFileId == -1 || first.offset > fileSize || fileSize - first.offset < readSize ||
        readSize > UINT32_MAX) {
        return Fail("DecodeViconNet LoadingOpenComplete failed because fileSize was too small to contain the "
                    "image image size\n");
    }
    fileId = newFileId;
    return Read(fileId, first.offset, static_cast<uint32_t>(readSize), &DecodeViconNet::OnFirstImage,
                LoadReadFailure);
}

DecoderAction DecodeViconNet::OnFirstImage(ByteView bytes) {
    if (bytes.U8(0) != 0xFF || bytes.U8(1) != 0xC0) {
        return Fail("DecodeViconNet::LoadingReadComplete failed as image file does not start with jpeg SOS "
                    "marker\n");
    }
    return Close(fileId, &DecodeViconNet::Finish);
}

DecoderAction DecodeViconNet::Finish(int32_t) {
    fileId = -1;
    const ViconNetMultiFileFrameInfo first = frames.GetAt(0);
    totalFrames = frames.Count();
    SetImageFormat(first.width, first.height, aspectX, aspectY, true, totalFrames);
    SetTimeSpan(first.recordedTime, frames.GetAt(totalFrames - 1).recordedTime);
    AssignStreamTimes();
    ReportProgress(1.0);
    return DDA_COMPLETE;
}

// The frames of one time are spread from that time over the gap to the next, a gap of 10 seconds
// or more counting as one second; the frames of the last time all play at that time.
void DecodeViconNet::AssignStreamTimes() {
    constexpr int64_t LongGap = 100000000;
    auto groupStart = frames.begin();
    int64_t count = 0;
    auto spread = [&](auto groupEnd, int64_t delta) {
        if (delta >= LongGap) {
            delta = TicksPerSecond;
        }
        StreamTimes::SpaceEvenly(groupStart, groupEnd, groupStart->recordedTime, delta / count);
    };
    for (auto record = frames.begin(); record != frames.end(); ++record) {
        if (count > 0 && record->recordedTime != groupStart->recordedTime) {
            spread(record, StreamTimes::Subtract(record->recordedTime, groupStart->recordedTime));
            groupStart = record;
            count = 0;
        }
        ++count;
    }
    if (count > 0) {
        spread(frames.end(), 0);
    }
}

// ---- fetching a frame: its camera's decoder walks on from its key frame or its last frame ----

// The frame of `camera` before `frame` that is shown, or -1.
int32_t DecodeViconNet::PreviousShownFrame(int32_t frame, int32_t camera) {
    for (int32_t index = PreviousFrameOfCamera(frames, frame, camera); index >= 0;
         index = PreviousFrameOfCamera(frames, index, camera)) {
        if (!IsPassedOver(frames.RecordAt(index)->frameType)) {
            return index;
        }
    }
    return -1;
}

int32_t DecodeViconNet::NextShownFrame(int32_t frame, int32_t camera) {
    for (int32_t index = NextFrameOfCamera(frames, frame, camera); index >= 0;
         index = NextFrameOfCamera(frames, index, camera)) {
        if (!IsPassedOver(frames.RecordAt(index)->frameType)) {
            return index;
        }
    }
    return -1;
}

DecoderAction DecodeViconNet::DecompressingCore() {
    imageValid = false;
    const int32_t camera = frames.GetCamera(currentFrame);
    Camera& state = cameras[static_cast<size_t>(camera) % MaxCameras];
    targetFrame = PreviousShownFrame(currentFrame + 1, camera);
    if (targetFrame < 0 || state.decoder == nullptr) {
        return DDA_COMPLETE;
    }
    if (targetFrame == state.lastDecoded) {
        imageValid = true;
        return DDA_COMPLETE;
    }
    // Back to the key frame, or only to the frame after the one the decoder holds.
    walkFrame = targetFrame;
    while (!IsKeyFrame(frames.RecordAt(walkFrame)->frameType)) {
        const int32_t previous = PreviousShownFrame(walkFrame, camera);
        if (previous < 0) {
            return DDA_COMPLETE;
        }
        if (previous == state.lastDecoded) {
            break;
        }
        walkFrame = previous;
    }
    return FetchWalkFrame();
}

DecoderAction DecodeViconNet::BlankImage() {
    imageValid = false;
    return DDA_COMPLETE;
}

DecoderAction DecodeViconNet::FetchWalkFrame() {
    const ViconNetMultiFileFrameInfo* frame = frames.RecordAt(walkFrame);
    if (frame->size == 0) {
        Log(LogCore, "Attempt to decompress empty image %d\n", walkFrame);
        return BlankImage();
    }
    if (frame->videoFile == openVideoFile) {
        return ReadWalkFrame();
    }
    if (openVideoFile != -1) {
        return Close(fileId, &DecodeViconNet::OnFetchClosed);
    }
    return Open(VideoFilePath(frame->videoFile, '2'), &DecodeViconNet::OnFetchOpened, nullptr);
}

DecoderAction DecodeViconNet::OnFetchClosed(int32_t) {
    fileId = -1;
    openVideoFile = -1;
    return FetchWalkFrame();
}

DecoderAction DecodeViconNet::OnFetchOpened(int32_t newFileId, uint64_t fileSize) {
    if (newFileId == -1) {
        return Fail("DecodeViconNet::DecompressingOpenComplete failed with bad fileId\n");
    }
    fileId = newFileId;
    openVideoFile = frames.RecordAt(walkFrame)->videoFile;
    const ViconNetMultiFileFrameInfo* frame = frames.RecordAt(walkFrame);
    if (frame->offset > fileSize || fileSize - frame->offset < uint64_t{frame->size} + frame->headerSize) {
        Log(LogCore,
            "DecodeViconNet::DecompressingOpenComplete failed with bad fileSize - display blank image\n");
        return BlankImage();
    }
    return ReadWalkFrame();
}

DecoderAction DecodeViconNet::ReadWalkFrame() {
    const ViconNetMultiFileFrameInfo* frame = frames.RecordAt(walkFrame);
    const uint64_t size = uint64_t{frame->size} + frame->headerSize;
    return TryRead(fileId, frame->offset, static_cast<uint32_t>(std::min<uint64_t>(size, UINT32_MAX)),
                   &DecodeViconNet::OnWalkFrame);
}

// A key frame brings its tables behind the image; a delta frame's bitmap of present blocks lies
// `deltaOffset` bytes behind it.
DecoderAction DecodeViconNet::OnWalkFrame(bool ok, ByteView bytes) {
    if (!ok) {
        Log(LogCore, "DecodeViconNet::DecompressingReadComplete failed with bad result\n");
        return BlankImage();
    }
    const ViconNetMultiFileFrameInfo frame = *frames.RecordAt(walkFrame);
    Camera& camera = cameras[frame.camera.number % MaxCameras];
    const bool key = IsKeyFrame(frame.frameType);
    const auto imageSize = static_cast<int32_t>(std::min<uint32_t>(frame.size, INT32_MAX));
    const auto total = static_cast<int32_t>(std::min<size_t>(bytes.Size(), INT32_MAX));
    if ((key && !camera.decoder->ParseHeader(bytes.Data(), total, imageSize)) ||
        !camera.decoder->ApplyBlocks(frame.width, frame.height, imageSize,
                                     static_cast<int32_t>(frame.deltaOffset), !key, bytes.Data(), total)) {
        return BlankImage();
    }
    camera.lastDecoded = walkFrame;
    if (walkFrame == targetFrame) {
        imageValid = true;
        return DDA_COMPLETE;
    }
    walkFrame = NextShownFrame(walkFrame, frame.camera.number);
    return walkFrame < 0 ? BlankImage() : FetchWalkFrame();
}

bool DecodeViconNet::GetImage(int32_t bufferSize, uint8_t* buffer) {
    if (!imageValid || buffer == nullptr) {
        return false;
    }
    const Camera& camera = cameras[frames.GetCamera(currentFrame) % MaxCameras];
    return camera.decoder != nullptr && camera.decoder->GetImage(buffer, bufferSize);
}

} // namespace Vorn::Vorncast::Decoders
