#include "formats/bosch/DecodeBoschArchive.h"

#include "core/binary/DecimalText.h"
#include "core/time/Ticks.h"
#include "formats/shared/FrameListQueries.h"
#include "formats/shared/MergeByTime.h"

#include <strings.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr int32_t RecursiveDepth = 16;
constexpr size_t ArchiveNameSize = 65;
constexpr size_t TimeZoneDigits = 346;
constexpr const char* OpenFailure =
    "DecodeBoschArchive::LoadingOpenComplete failed with bad fileId or fileSize\n";
constexpr const char* ReadFailure = "DecodeBoschArchive::LoadingReadComplete failed with bad result\n";

bool BadOpen(int32_t fileId, uint64_t fileSize) {
    return fileId == -1 || fileId == -2 || fileSize == 0;
}

std::string_view TextOf(ByteView bytes) {
    return {reinterpret_cast<const char*>(bytes.Data()), bytes.Size()};
}

// The value of "key=value" lines ended by a carriage return: the first "=" whose characters before
// it end with the key, up to the next carriage return, at most `size` - 1 characters.
std::string FindKey(std::string_view key, std::string_view text, size_t size) {
    for (size_t equals = text.find('='); equals != std::string_view::npos;
         equals = text.find('=', equals + 1)) {
        if (equals <= key.size() || text.substr(equals - key.size(), key.size()) != key) {
            continue;
        }
        std::string_view value = text.substr(equals + 1);
        return std::string(value.substr(0, std::min(value.find('\r'), size - 1)));
    }
    return "";
}

// Upper-case hexadecimal digits, two a byte, high digit first; missing digits count as 0.
TimeZoneInformation DecodeTimeZone(std::string_view digits) {
    uint8_t bytes[TimeZoneDigits / 2] = {};
    for (size_t index = 0; index < std::min(digits.size(), TimeZoneDigits); ++index) {
        int value = digits[index] - 0x30;
        value -= value > 9 ? 7 : 0;
        bytes[index / 2] = static_cast<uint8_t>(bytes[index / 2] | (value & 0xF) << (index % 2 == 0 ? 4 : 0));
    }
    TimeZoneInformation zone{};
    ReadTimeZoneInformation(ByteView(bytes, sizeof bytes), 0, &zone);
    return zone;
}

std::string FolderOf(const std::string& path) {
    size_t separator = path.find_last_of("/\\");
    return separator == std::string::npos ? std::string() : path.substr(0, separator);
}

std::string FirstFolderOf(const std::string& path) {
    size_t separator = path.find_first_of("/\\");
    return separator == std::string::npos ? std::string() : path.substr(0, separator);
}

std::string Joined(const std::string& folder, const std::string& name) {
    return folder.empty() ? name : folder + "/" + name;
}

// A stream that carries no configuration of its own is decoded with this one: a simple-profile
// video object layer of the picture size, 1000 time units a second.
std::vector<uint8_t> Mpeg4Header(int32_t width, int32_t height) {
    return {0x00,
            0x00,
            0x01,
            0xB0,
            0x03,
            0x00,
            0x00,
            0x01,
            0xB5,
            0x0B,
            0x00,
            0x00,
            0x01,
            0x01,
            0x00,
            0x00,
            0x01,
            0x20,
            0x00,
            0x84,
            0x40,
            0xFA,
            static_cast<uint8_t>(0x28 | ((width >> 10) & 7)),
            static_cast<uint8_t>((width >> 2) & 0xFF),
            static_cast<uint8_t>((((height >> 8) & 0x1F) | ((width & 3) << 6)) | 0x20),
            static_cast<uint8_t>(height & 0xFF),
            0xA3,
            0x00};
}

// The decimal text fields of a table record, in the order their failures are logged.
enum DbfField {
    SeekPos,
    Size,
    Year,
    Month,
    Day,
    Hour,
    Minute,
    Second,
    Milliseconds,
    DbxFile,
    Width,
    Height,
    IFrameRecord,
    FieldCount
};
struct DbfFieldPlace {
    const char* name;
    size_t offset;
    size_t width;
};
constexpr DbfFieldPlace DbfFields[FieldCount] = {
    {"seekpos", 69, 20},     {"size", 89, 10},    {"year", 22, 4},   {"month", 26, 2},
    {"day", 28, 2},          {"hour", 30, 2},     {"minute", 32, 2}, {"second", 34, 2},
    {"milliseconds", 36, 3}, {"dbxfile", 59, 10}, {"width", 153, 4}, {"height", 157, 4},
    {"nRecIFrame", 143, 10},
};

} // namespace

struct DecodeBoschArchive::Backup {
    std::string folder;      // of its Backup.info, below the root; its tables are listed here
    std::string firstFolder; // where its tables are opened
    IppDecoderMPEG4 decoder;
    std::vector<uint8_t> frameBuffer;
    int32_t lastDecodedFrame = -1;
    int32_t lastDecodedIFrame = -1;
    // The one data file of the backup that is open: its table, number and identifier.
    int32_t openFile = -1;
    int16_t openTable = -1;
    int16_t openDbx = -1;
    bool imageValid = false;
};

// The frames of one table, during the load only.
struct DecodeBoschArchive::Table {
    FrameList frames;
};

DecodeBoschArchive::DecodeBoschArchive(const DecoderRow& row) : FormatDecoder(row) {
    randomAccessFlag = 0;
    multiFileFlag = 1;
    frameAccurateFlag = 1;
    frameIndexFlag = 0;
}

DecodeBoschArchive::~DecodeBoschArchive() = default;

void DecodeBoschArchive::ForgetRecording() {
    root.clear();
    backupEntries.clear();
    backups.clear();
    tables.clear();
    tableNames.clear();
    frames.Clear();
    cameras.Clear();
    timeZone = {};
    zoneRules = TimeZoneRules();
    timeZoneOffset = 0;
    backupIndex = 0;
    tableIndex = 0;
    fileId = -1;
    fileSize = 0;
    recordOffset = 0;
    pictureWidth = 0;
    pictureHeight = 0;
    frameToDecode = -1;
    currentBackup = 0;
}

// ---- loading: the backups, then every table of each, then the merge ----

DecoderAction DecodeBoschArchive::LoadingCore() {
    Reset();
    ReportProgress(0.0);
    std::string_view path(loadName);
    size_t point = path.find_last_of('.');
    std::string extension(point == std::string_view::npos ? "" : path.substr(point + 1, 4));
    if (strcasecmp(extension.c_str(), "info") != 0) {
        return Fail("DecodeBoschArchive::LoadingCore Cannot handle filename [%s]\n", loadName);
    }
    root = path.substr(0, point);
    return ListFiles(root.c_str(), "Backup.info", RecursiveDepth, &DecodeBoschArchive::OnBackupsListed);
}

DecoderAction DecodeBoschArchive::OnBackupsListed(bool ok, FileList& listed) {
    for (auto* node = ok ? listed.Head() : nullptr; node != nullptr; node = node->next) {
        backupEntries.emplace_back(node->item->path);
    }
    if (backupEntries.empty()) {
        return Fail("DecodeBoschArchive LoadingFileListComplete failed with empty list\n");
    }
    return OpenBackupInfo();
}

DecoderAction DecodeBoschArchive::OpenBackupInfo() {
    return Open(Joined(root, backupEntries[backupIndex]).c_str(), &DecodeBoschArchive::OnBackupInfoOpened,
                nullptr);
}

DecoderAction DecodeBoschArchive::OnBackupInfoOpened(int32_t newFileId, uint64_t newFileSize) {
    if (BadOpen(newFileId, newFileSize)) {
        return Fail("%s", OpenFailure);
    }
    fileId = newFileId;
    return Read(fileId, 0, static_cast<uint32_t>(newFileSize), &DecodeBoschArchive::OnBackupInfo,
                ReadFailure);
}

// Each backup is one camera, named by its archive; the last backup's time zone stands.
DecoderAction DecodeBoschArchive::OnBackupInfo(ByteView text) {
    CameraTag camera{};
    camera.number = static_cast<uint16_t>(backups.size());
    std::snprintf(camera.name, sizeof camera.name, "%s",
                  FindKey("ArchiveName", TextOf(text), ArchiveNameSize).c_str());
    cameras.Set(camera);
    timeZone = DecodeTimeZone(FindKey("TimeZoneInfo", TextOf(text), TimeZoneDigits + 1));
    auto backup = std::make_unique<Backup>();
    backup->folder = FolderOf(backupEntries[backupIndex]);
    backup->firstFolder = FirstFolderOf(backupEntries[backupIndex]);
    backups.push_back(std::move(backup));
    ReportProgress(ComputeFrameTime(2, 5, 0.5));
    return Close(fileId, &DecodeBoschArchive::OnBackupInfoClosed);
}

DecoderAction DecodeBoschArchive::OnBackupInfoClosed(int32_t) {
    if (++backupIndex < backupEntries.size()) {
        return OpenBackupInfo();
    }
    backupIndex = 0;
    return ListTables();
}

DecoderAction DecodeBoschArchive::ListTables() {
    if (backupIndex >= backups.size()) {
        return MergeTables();
    }
    return ListFiles(Joined(root, backups[backupIndex]->folder).c_str(), "*.DBF", RecursiveDepth,
                     &DecodeBoschArchive::OnTablesListed);
}

// A backup whose tables cannot be listed is passed over.
DecoderAction DecodeBoschArchive::OnTablesListed(bool ok, FileList& listed) {
    if (!ok) {
        if (++backupIndex < backups.size()) {
            return ListTables();
        }
        bool anyFrames =
            std::any_of(tables.begin(), tables.end(), [](const auto& t) { return t->frames.Count() > 0; });
        return anyFrames ? MergeTables()
                         : Fail("DecodeBoschArchive LoadingFileListComplete failed, backup files exhausted, "
                                "no frames "
                                "found\n");
    }
    if (listed.Count() == 0) {
        return Fail("DecodeBoschArchive LoadingFileListComplete failed\n");
    }
    firstTableOfBackup = tables.size();
    for (auto* node = listed.Head(); node != nullptr; node = node->next) {
        tableNames.emplace_back(node->item->path);
        tables.push_back(std::make_unique<Table>());
    }
    tableIndex = firstTableOfBackup;
    return OpenTable();
}

DecoderAction DecodeBoschArchive::OpenTable() {
    ReportProgress(
        ComputeFrameTime(3, 5, static_cast<double>(tableIndex) / static_cast<double>(tables.size())));
    std::string path = Joined(Joined(root, backups[backupIndex]->firstFolder), tableNames[tableIndex]);
    return Open(path.c_str(), &DecodeBoschArchive::OnTableOpened, nullptr);
}

DecoderAction DecodeBoschArchive::OnTableOpened(int32_t newFileId, uint64_t newFileSize) {
    if (BadOpen(newFileId, newFileSize)) {
        return Fail("%s", OpenFailure);
    }
    fileId = newFileId;
    fileSize = newFileSize;
    return Read(fileId, 0, RecordSize, &DecodeBoschArchive::OnTableHeader, ReadFailure);
}

// The records begin where the dBASE header says its header ends.
DecoderAction DecodeBoschArchive::OnTableHeader(ByteView header) {
    recordOffset = header.U16LE(8);
    return ReadTableRecord();
}

DecoderAction DecodeBoschArchive::ReadTableRecord() {
    return Read(fileId, recordOffset, RecordSize, &DecodeBoschArchive::OnTableRecord, ReadFailure);
}

// A field that is no number is logged and left at 0; the record is kept. A partial record at the
// end of the table is not read.
DecoderAction DecodeBoschArchive::OnTableRecord(ByteView record) {
    int64_t values[FieldCount] = {};
    for (int field = 0; field < FieldCount; ++field) {
        ByteView bytes = record.Sub(DbfFields[field].offset, DbfFields[field].width);
        std::string_view text(reinterpret_cast<const char*>(bytes.Data()), bytes.Size());
        text = text.substr(0, text.find('\0'));
        if (!ParseDecimal(text, &values[field])) {
            Log(LogCore, "DecodeBoschArchive::ParseDBFRecord failed to parse %s %.*s\n",
                DbfFields[field].name, static_cast<int>(text.size()), text.data());
        }
    }
    BoschArchiveFrameInfo frame{};
    frame.recordedTime =
        TicksFromSystemTime(static_cast<int32_t>(values[Year]), static_cast<int32_t>(values[Month]),
                            static_cast<int32_t>(values[Day]), static_cast<int32_t>(values[Hour]),
                            static_cast<int32_t>(values[Minute]), static_cast<int32_t>(values[Second]),
                            static_cast<int32_t>(values[Milliseconds]));
    frame.streamTime = frame.recordedTime;
    frame.offset = values[SeekPos];
    frame.size = static_cast<int32_t>(values[Size]);
    frame.channel = static_cast<int16_t>(backupIndex);
    frame.dbfIndex = static_cast<int16_t>(tableIndex);
    frame.dbxNumber = static_cast<int16_t>(values[DbxFile]);
    frame.iFrame = static_cast<int32_t>(values[IFrameRecord] - 1);
    tables[tableIndex]->frames.Append(frame);
    pictureWidth = static_cast<int32_t>(values[Width]);
    pictureHeight = static_cast<int32_t>(values[Height]);
    if (recordOffset + RecordSize < fileSize) {
        recordOffset += RecordSize;
        return ReadTableRecord();
    }
    return Close(fileId, &DecodeBoschArchive::OnTableClosed);
}

DecoderAction DecodeBoschArchive::OnTableClosed(int32_t) {
    if (++tableIndex < tables.size()) {
        return OpenTable();
    }
    ++backupIndex;
    return ListTables();
}

// The tables merge by time. A frame whose key frame is itself is a key frame; every frame then
// finds its key frame's place in the merged list.
DecoderAction DecodeBoschArchive::MergeTables() {
    std::vector<FrameList*> lists;
    for (auto& table : tables) {
        lists.push_back(&table->frames);
    }
    std::vector<int32_t> positions(lists.size(), 0);
    std::vector<KeyFrame> keyFrames;
    MergeByLowestTime(lists, [&](const BoschArchiveFrameInfo& frame, size_t list) {
        int32_t local = positions[list]++;
        if (frame.iFrame == local) {
            keyFrames.push_back({frame.dbfIndex, local, frame.dbxNumber, frames.Count()});
        }
        frames.Append(frame);
        if (frames.Count() % 1001 == 0) {
            ReportProgress(ComputeFrameTime(4, 5, 0.5));
        }
    });
    tables.clear();
    if (frames.Count() == 0) {
        return Fail(
            "DecodeBoschArchive LoadingCloseComplete failed, backup files exhausted, no frames found\n");
    }
    MapKeyFrames(keyFrames);
    return FinishLoad();
}

// A key frame is found by its table, its place there and its data file.
void DecodeBoschArchive::MapKeyFrames(const std::vector<KeyFrame>& keyFrames) {
    std::vector<std::vector<const KeyFrame*>> byTable(tableNames.size());
    for (const KeyFrame& key : keyFrames) {
        auto& places = byTable[static_cast<size_t>(key.table)];
        places.resize(std::max(places.size(), static_cast<size_t>(key.local) + 1), nullptr);
        places[static_cast<size_t>(key.local)] = &key;
    }
    for (BoschArchiveFrameInfo& frame : frames) {
        const auto& places = byTable[static_cast<size_t>(frame.dbfIndex)];
        const KeyFrame* key = frame.iFrame >= 0 && static_cast<size_t>(frame.iFrame) < places.size()
                                  ? places[static_cast<size_t>(frame.iFrame)]
                                  : nullptr;
        if (key == nullptr || key->dbxNumber != frame.dbxNumber) {
            Log(LogCore, "Failed to map local iframe %d on channel %d\n", frame.iFrame, frame.channel);
            continue;
        }
        frame.iFrame = key->global;
    }
}

// The recorder stores half-height fields: the aspect is the width to twice the height.
DecoderAction DecodeBoschArchive::FinishLoad() {
    SetImageFormat(pictureWidth, pictureHeight, pictureWidth, 2 * pictureHeight, true, frames.Count());
    hasVideo = true;
    std::vector<uint8_t> header = Mpeg4Header(pictureWidth, pictureHeight);
    for (auto& backup : backups) {
        if (!backup->decoder.Initialise(pictureWidth, pictureHeight, 3, false, header.data(),
                                        static_cast<int32_t>(header.size()))) {
            return Fail("DecodeBoschArchive::LoadingCloseComplete failed to initialise decompressor\n");
        }
        backup->frameBuffer.assign(static_cast<size_t>(pictureWidth) * static_cast<size_t>(pictureHeight) * 3,
                                   0);
    }
    SetUpTimeZone();
    ReportProgress(1.0);
    return DDA_COMPLETE;
}

// The zone's base bias moves the recorder's stamps; its rules give the zone words.
void DecodeBoschArchive::SetUpTimeZone() {
    int64_t first = frames.GetAt(0).recordedTime;
    int64_t last = frames.GetAt(frames.Count() - 1).recordedTime;
    if (zoneRules.Build(first, last, timeZone)) {
        timeZoneOffset = zoneRules.BaseBiasTicks();
    }
    int32_t savedFrame = currentFrame;
    currentFrame = 0;
    FrameTimes start = GetFrameTimes();
    currentFrame = frames.Count() - 1;
    FrameTimes end = GetFrameTimes();
    currentFrame = savedFrame;
    SetTimeSpan(start, end);
}

// ---- fetching a frame: the walk of its camera from its key frame, or on from the last decoded ----

DecoderAction DecodeBoschArchive::DecompressingCore() {
    const BoschArchiveFrameInfo* target = frames.RecordAt(currentFrame);
    if (target == nullptr || target->channel < 0 || static_cast<size_t>(target->channel) >= backups.size()) {
        return Fail("DecodeBoschArchive::DecompressingCore failed with bad frame %d\n", currentFrame);
    }
    currentBackup = target->channel;
    Backup& backup = *backups[static_cast<size_t>(currentBackup)];
    if (backup.lastDecodedFrame == currentFrame) {
        return DDA_COMPLETE;
    }
    backup.imageValid = false;
    frameToDecode = target->iFrame;
    Log(LogTrace, "Reasonable default? to get to %d, start at frameToDecode = %d\n", currentFrame,
        frameToDecode);
    if (backup.lastDecodedIFrame == target->iFrame && backup.lastDecodedFrame < currentFrame) {
        frameToDecode = NextFrameOfChannel(frames, backup.lastDecodedFrame, currentBackup);
    } else {
        backup.decoder.Reset();
    }
    return WalkOn();
}

// A camera keeps at most one data file open.
DecoderAction DecodeBoschArchive::WalkOn() {
    const BoschArchiveFrameInfo* frame = frames.RecordAt(frameToDecode);
    if (frame == nullptr) {
        return Fail("DecodeBoschArchive::DecompressingReadComplete failed to find frame info\n");
    }
    Backup& backup = *backups[static_cast<size_t>(currentBackup)];
    if (backup.openFile != -1 && backup.openTable == frame->dbfIndex && backup.openDbx == frame->dbxNumber) {
        return ReadWalkFrame();
    }
    if (backup.openFile != -1) {
        return Close(backup.openFile, &DecodeBoschArchive::OnDataClosed);
    }
    return OpenDataFile();
}

DecoderAction DecodeBoschArchive::OnDataClosed(int32_t) {
    backups[static_cast<size_t>(currentBackup)]->openFile = -1;
    return OpenDataFile();
}

std::string DecodeBoschArchive::DataFilePath(const BoschArchiveFrameInfo& frame) const {
    const Backup& backup = *backups[static_cast<size_t>(frame.channel)];
    std::string table;
    if (frame.dbfIndex >= 0 && static_cast<size_t>(frame.dbfIndex) < tableNames.size()) {
        table = tableNames[static_cast<size_t>(frame.dbfIndex)];
    }
    char file[16];
    std::snprintf(file, sizeof file, "%08d.DBX", frame.dbxNumber);
    return Joined(Joined(Joined(root, backup.folder), table.substr(0, table.find_last_of('.'))), file);
}

DecoderAction DecodeBoschArchive::OpenDataFile() {
    return Open(DataFilePath(*frames.RecordAt(frameToDecode)).c_str(), &DecodeBoschArchive::OnDataOpened,
                nullptr);
}

DecoderAction DecodeBoschArchive::OnDataOpened(int32_t newFileId, uint64_t newFileSize) {
    if (BadOpen(newFileId, newFileSize)) {
        return DecoderFailure();
    }
    const BoschArchiveFrameInfo& frame = *frames.RecordAt(frameToDecode);
    Backup& backup = *backups[static_cast<size_t>(currentBackup)];
    backup.openFile = newFileId;
    backup.openTable = frame.dbfIndex;
    backup.openDbx = frame.dbxNumber;
    return ReadWalkFrame();
}

DecoderAction DecodeBoschArchive::ReadWalkFrame() {
    const BoschArchiveFrameInfo& frame = *frames.RecordAt(frameToDecode);
    return Read(backups[static_cast<size_t>(currentBackup)]->openFile, static_cast<uint64_t>(frame.offset),
                static_cast<uint32_t>(frame.size), &DecodeBoschArchive::OnWalkFrame,
                "DecodeBoschArchive::DecompressingReadComplete failed while positioning\n");
}

// A frame that does not decode is no failure: the walk goes on, and only the target's own decode
// makes a picture and makes it valid.
DecoderAction DecodeBoschArchive::OnWalkFrame(ByteView bytes) {
    Log(LogTrace, "Decompression currentFrame=%d  targetFrame=%d  frameToDecode=%d\n", currentFrame,
        currentFrame, frameToDecode);
    const BoschArchiveFrameInfo& frame = *frames.RecordAt(frameToDecode);
    Backup& backup = *backups[static_cast<size_t>(currentBackup)];
    if (frame.channel != currentBackup) {
        return Fail(
            "DecodeBoschArchive::DecompressingReadComplete decoder has got into a bad state, cameraIndex=%d "
            "decoderListIndex=%d\n",
            frame.channel, currentBackup);
    }
    const int32_t size = static_cast<int32_t>(bytes.Size());
    const bool decoded = frameToDecode == currentFrame
                             ? backup.decoder.Decode(bytes.Data(), size, backup.frameBuffer.data(),
                                                     static_cast<int32_t>(backup.frameBuffer.size()))
                             : backup.decoder.DecodeSkippingPicture(bytes.Data(), size);
    backup.lastDecodedFrame = frameToDecode;
    if (frame.iFrame == frameToDecode) {
        backup.lastDecodedIFrame = frameToDecode;
    }
    if (frameToDecode == currentFrame) {
        backup.imageValid = decoded;
        return DDA_COMPLETE;
    }
    frameToDecode = NextFrameOfChannel(frames, frameToDecode, currentBackup);
    return frameToDecode < 0 ? DDA_COMPLETE : WalkOn();
}

bool DecodeBoschArchive::GetImage(int32_t bufferSize, uint8_t* buffer) {
    if (static_cast<size_t>(currentBackup) >= backups.size() ||
        backups[static_cast<size_t>(currentBackup)]->frameBuffer.empty()) {
        Log(LogCore, "DecodeBoschArchive::GetImage decoderListItem doesn't have a frame available!\n");
        return false;
    }
    const Backup& backup = *backups[static_cast<size_t>(currentBackup)];
    size_t size = backup.frameBuffer.size();
    if (size > static_cast<size_t>(std::max(bufferSize, 0))) {
        Log(LogCore,
            "DecodeBoschArchive::GetImage decoderListItem frameBuffer to large for destination buffer!\n");
        size = static_cast<size_t>(std::max(bufferSize, 0));
    }
    if (!backup.imageValid || buffer == nullptr) {
        return false;
    }
    std::memcpy(buffer, backup.frameBuffer.data(), size);
    return true;
}

// ---- times and cameras ----

FrameTimes DecodeBoschArchive::GetFrameTimes() {
    BoschArchiveFrameInfo frame = frames.GetAt(currentFrame);
    FrameTimes times{};
    times.recordedTime = SaturatingAdd(frame.recordedTime, timeZoneOffset);
    times.streamTime = SaturatingAdd(frame.streamTime, timeZoneOffset);
    bool enabled = false;
    times.zoneBias = zoneRules.GetOffset(times.recordedTime, &enabled);
    times.zoneKnown = enabled ? 1 : 0;
    return times;
}

void DecodeBoschArchive::GetFrameCamera(CameraTag* camera) {
    cameras.GetByNumber(static_cast<uint16_t>(frames.GetAt(currentFrame).channel), *camera);
}

int32_t DecodeBoschArchive::IndexOfFrameAtStreamTime(int64_t streamTime) {
    return frames.IndexAtStreamTime(SaturatingSubtract(streamTime, timeZoneOffset));
}

int32_t DecodeBoschArchive::GetPreviousFrame(int32_t frame, int32_t camera) {
    return PreviousFrameOfChannel(frames, frame, camera);
}

int32_t DecodeBoschArchive::GetNextFrame(int32_t frame, int32_t camera) {
    return NextFrameOfChannel(frames, frame, camera);
}

void DecodeBoschArchive::GetCameras(uint8_t* mask) {
    std::memset(mask, 0, CameraMaskBytes);
    for (const BoschArchiveFrameInfo& frame : frames) {
        if (frame.channel >= 0 && frame.channel < MaxCameras) {
            mask[frame.channel / 8] |= static_cast<uint8_t>(1u << (frame.channel % 8));
        }
    }
}

} // namespace Vorn::Vorncast::Decoders
