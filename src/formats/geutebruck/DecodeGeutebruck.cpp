#include "formats/geutebruck/DecodeGeutebruck.h"

#include "codecs/jpeg/JpegHeaderTemplate.h"
#include "codecs/jpeg/JpegTables.h"
#include "core/framelists/StreamTimes.h"
#include "core/time/Ticks.h"
#include "model/support/LogLevels.h"
#include "model/support/Path.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr uint32_t FileHeaderSize = 128;
constexpr uint64_t DirectoryHeadPosition = 28800;
constexpr uint32_t DirectoryHeadSize = 192;
constexpr uint32_t ClusterHeadSize = 128;
constexpr uint32_t FirstWindow = 4096;
constexpr uint8_t FrameEntry = 0;
constexpr uint8_t CameraNameEntry = 32;
constexpr int32_t PictureWidth = 704;
constexpr int32_t PictureHeight = 288;
constexpr const char* LoadReadFailure = "DecodeGeutebruck::LoadingReadComplete failed with bad result\n";

// The header put in front of every scan: SOI, JFIF, a comment, both quantisation tables in one
// segment (their entries at 58 and 123), SOF0 of 704 x 288 in 4:2:2, the Annex K Huffman tables in
// one segment and SOS; 640 bytes.
constexpr int32_t HeaderSize = 640;
constexpr size_t LuminanceTableAt = 58;
constexpr size_t ChrominanceTableAt = 123;
constexpr int32_t HeaderQuality = 25;

using JpegHeader = std::array<uint8_t, HeaderSize>;

JpegHeader MakeHeader() {
    JpegHeader header{};
    JpegHeaderWriter start(header.data(), 20);
    start.StartOfImage();
    start.Jfif();
    constexpr char Comment[] = "Geutebruck MBF picture header";
    static_assert(sizeof Comment + 3 == 53 - 20, "the comment fills the bytes up to the tables");
    const uint8_t commentHead[] = {0xFF, 0xFE, 0x00, sizeof Comment + 1};
    std::memcpy(header.data() + 20, commentHead, sizeof commentHead);
    std::memcpy(header.data() + 24, Comment, sizeof Comment - 1);
    uint8_t luminance[JpegBlockSize], chrominance[JpegBlockSize];
    ScaleQuantTable(StandardLuminanceQuantTable, HeaderQuality, luminance);
    ScaleQuantTable(StandardChrominanceQuantTable, HeaderQuality, chrominance);
    JpegHeaderWriter rest(header.data() + 53, HeaderSize - 53);
    rest.QuantTables(luminance, chrominance);
    rest.FrameHeader(PictureWidth, PictureHeight, 3, 0x21);
    rest.StandardHuffmanTables(true);
    rest.ScanHeader(3);
    return header;
}

// The tables that a mode byte scales: twice the Annex K tables, so that mode 128 gives them.
void ScaleByMode(const uint8_t* standard, uint8_t mode, uint8_t* table) {
    for (int32_t index = 0; index < JpegBlockSize; ++index) {
        table[index] = static_cast<uint8_t>(std::max(1, (standard[index] * 2 * mode) >> 8));
    }
}

// Runs of 1 to 9 zeros stand packed as 0xE0 to 0xE8; a 0 escapes the byte behind it, which stands
// for itself when it lies in that range and is passed over, leaving a 0, when it does not.
void Unpack(ByteView packed, std::vector<uint8_t>& out) {
    out.clear();
    for (size_t at = 0; at < packed.Size(); ++at) {
        const uint8_t byte = packed.U8(at);
        if (byte >= 0xE0 && byte <= 0xE8) {
            out.insert(out.end(), byte - 0xDFu, 0);
        } else if (byte == 0) {
            const uint8_t next = packed.U8(++at);
            out.push_back(next >= 0xE0 && next <= 0xE8 ? next : 0);
        } else {
            out.push_back(byte);
        }
    }
}

// Day 1 is 0001-01-01; milliseconds count within the day. Damaged values wrap.
int64_t TicksOfDay(uint32_t day, uint32_t milliseconds) {
    const uint64_t total = (uint64_t{day} - 1) * 86400000 + milliseconds;
    return static_cast<int64_t>(total * TicksPerMillisecond);
}

} // namespace

void DecodeGeutebruck::ForgetRecording() {
    frames.Clear();
    fileId = -1;
    fileSize = 0;
    clusterOffset = 0;
    directoryBytes = 0;
    directoryDone = 0;
    position = 0;
    window = 0;
    unpacked.clear();
    cameraNames.clear();
    jpeg.clear();
}

// ---- loading: the file header, the directory head, the cluster head, the packed directory ----

DecoderAction DecodeGeutebruck::LoadingCore() {
    Reset();
    if (!Path::ExtensionIs(loadName, "mbf")) {
        return Fail("DecodeGeutebruck::LoadingCore: extension not recognised\n");
    }
    return Open(loadName, &DecodeGeutebruck::OnOpened, nullptr);
}

DecoderAction DecodeGeutebruck::OnOpened(int32_t newFileId, uint64_t newFileSize) {
    if (newFileId == -1) {
        return Fail("DecodeGeutebruck::LoadingOpenComplete failed with invalid fileId\n");
    }
    if (newFileSize < DirectoryHeadPosition + DirectoryHeadSize) {
        return Fail("DecodeGeutebruck::LoadingOpenComplete failed because the file was too short\n");
    }
    fileId = newFileId;
    fileSize = newFileSize;
    return Read(fileId, 0, FileHeaderSize, &DecodeGeutebruck::OnFileHeader, LoadReadFailure);
}

DecoderAction DecodeGeutebruck::OnFileHeader(ByteView bytes) {
    if (bytes.Find("MHD0") == ByteView::npos) {
        return Fail("DecodeGeutebruck::LoadingReadComplete failed to find MHD0 header\n");
    }
    return Read(fileId, DirectoryHeadPosition, DirectoryHeadSize, &DecodeGeutebruck::OnDirectoryHead,
                LoadReadFailure);
}

DecoderAction DecodeGeutebruck::OnDirectoryHead(ByteView bytes) {
    ByteReader r(bytes, 24);
    r.Skip(4); // not read
    clusterOffset = r.U32LE();
    return Read(fileId, clusterOffset, ClusterHeadSize, &DecodeGeutebruck::OnClusterHead, LoadReadFailure);
}

// The cluster head repeats its own offset, and says how many bytes the directory holds.
DecoderAction DecodeGeutebruck::OnClusterHead(ByteView bytes) {
    ByteReader r(bytes, 24);
    directoryBytes = r.U32LE();
    r.Skip(8); // not read
    if (r.U32LE() != clusterOffset) {
        return Fail("DecodeGeutebruck::LoadingReadComplete Dir0/Clu0 header offset mismatch\n");
    }
    position = uint64_t{clusterOffset} + ClusterHeadSize;
    window = FirstWindow;
    return ReadDirectory();
}

// The window is cut at the end of the file; the directory ends with it or with its byte count.
DecoderAction DecodeGeutebruck::ReadDirectory() {
    if (directoryDone >= directoryBytes || position + 4 > fileSize) {
        return Finish();
    }
    ReportProgress(static_cast<double>(directoryDone) / static_cast<double>(directoryBytes));
    const auto size = static_cast<uint32_t>(std::min<uint64_t>(window, fileSize - position));
    return Read(fileId, position, size, &DecodeGeutebruck::OnDirectoryWindow, LoadReadFailure);
}

// Entries: a byte not read, the type, the packed length and the packed bytes. An entry longer than
// the window reads again with a window of its size.
DecoderAction DecodeGeutebruck::OnDirectoryWindow(ByteView bytes) {
    size_t at = 0;
    while (directoryDone < directoryBytes && bytes.Has(at, 4)) {
        const uint8_t entryType = bytes.U8(at + 1);
        const uint16_t length = bytes.U16LE(at + 2);
        if (!bytes.Has(at + 4, length)) {
            if (at == 0 && length + 4u > window) {
                window = length + 4u;
            } else if (at == 0) {
                return Finish(); // the file ends inside the entry
            }
            break;
        }
        AddEntry(entryType, bytes.Sub(at + 4, length));
        at += length + 4u;
        directoryDone += length + 4u;
    }
    position += at;
    return ReadDirectory();
}

void DecodeGeutebruck::AddEntry(uint8_t entryType, ByteView packed) {
    if (entryType != FrameEntry && entryType != CameraNameEntry) {
        return;
    }
    Unpack(packed, unpacked);
    ByteView entry(unpacked.data(), unpacked.size());
    if (entryType == CameraNameEntry) {
        CameraName camera{entry.U32LE(1), {}};
        entry.Text(39, std::min<size_t>(entry.U16LE(37), CameraNameLength - 1), camera.name);
        cameraNames.push_back(camera);
        return;
    }
    GeutebruckFrameInfo frame{};
    frame.camera.number = static_cast<uint16_t>(entry.U32LE(28));
    frame.recordedTime = TicksOfDay(entry.U32LE(41), entry.U32LE(37));
    frame.mode = entry.U8(64);
    frame.size = entry.U32LE(83);
    frame.offset = entry.U32LE(87);
    frames.Append(frame);
}

// Camera names may follow the frames that use them: they are given out at the end.
DecoderAction DecodeGeutebruck::Finish() {
    if (frames.Count() <= 0) {
        return Fail("DecodeGeutebruck::LoadingReadComplete failed with framesInSequence <= 0\n");
    }
    for (GeutebruckFrameInfo& frame : frames) {
        for (const CameraName& camera : cameraNames) {
            if (camera.number == frame.camera.number) {
                std::memcpy(frame.camera.name, camera.name, CameraNameLength);
            }
        }
    }
    totalFrames = frames.Count();
    SetImageFormat(PictureWidth, PictureHeight, 704, 576, true, totalFrames);
    StreamTimes::AssignSpreading(frames.begin(), frames.end());
    SetTimeSpan(frames.GetAt(0).recordedTime, frames.GetAt(totalFrames - 1).recordedTime);
    ReportProgress(1.0);
    return DDA_COMPLETE;
}

// ---- fetching a frame: its scan behind the fixed header ----

DecoderAction DecodeGeutebruck::DecompressingCore() {
    jpeg.clear();
    const GeutebruckFrameInfo* frame = frames.RecordAt(currentFrame);
    return Read(fileId, frame->offset, frame->size, &DecodeGeutebruck::OnFrame,
                "DecodeGeutebruck::DecompressingReadComplete failed with bad result\n");
}

// A mode other than 0 rebuilds the header's tables.
DecoderAction DecodeGeutebruck::OnFrame(ByteView bytes) {
    static const JpegHeader header = MakeHeader();
    jpeg.assign(header.begin(), header.end());
    jpeg.insert(jpeg.end(), bytes.begin(), bytes.end());
    if (const uint8_t mode = frames.RecordAt(currentFrame)->mode; mode != 0) {
        ScaleByMode(StandardLuminanceQuantTable, mode, jpeg.data() + LuminanceTableAt);
        ScaleByMode(StandardChrominanceQuantTable, mode, jpeg.data() + ChrominanceTableAt);
    }
    return DDA_COMPLETE;
}

bool DecodeGeutebruck::GetImage(int32_t bufferSize, uint8_t* buffer) {
    if (jpeg.empty()) {
        return false;
    }
    if (!JpegReadHeader(jpeg.data(), HeaderSize, nullptr, nullptr, nullptr)) {
        Log(LogCore, "%s",
            "DecodeGeutebruck::GetImage failed decoding image header. Current frame = %I64.\n");
        return false;
    }
    return JpegDecodeToBuffer(jpegScratch, jpeg.data(), static_cast<int32_t>(jpeg.size()), buffer,
                              bufferSize);
}

} // namespace Vorn::Vorncast::Decoders
