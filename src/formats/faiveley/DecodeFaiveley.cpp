#include "formats/faiveley/DecodeFaiveley.h"

#include "codecs/jpeg/JpegHeaderTemplate.h"
#include "core/binary/Bcd.h"
#include "core/framelists/StreamTimes.h"
#include "core/time/Ticks.h"
#include "model/files/NameOrder.h"
#include "model/support/LogLevels.h"
#include "model/support/Path.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <utility>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr uint32_t SectorSize = 512;
constexpr uint32_t ParametersSize = 560;
constexpr uint64_t MinimumFileSize = 1072;
constexpr uint32_t ParameterId = 0x10070001;
constexpr size_t ParameterRecords[6] = {12, 104, 196, 288, 380, 472};
constexpr uint32_t SectorMagic = 0x02012002;
constexpr uint32_t SectorHeadSize = 132;
constexpr size_t ImageStart = 128;
// The camera table's last bytes are not stored swapped.
constexpr size_t UnswappedTableTail = 120;
constexpr const char* LoadReadFailure = "DecodeFaiveley::LoadingReadComplete failed with bad result\n";

// Undoes the recorder's storage of text: bytes 2k and 2k + 1 change places over `length` bytes.
void SwapBytePairs(uint8_t* bytes, size_t length) {
    for (size_t at = 0; at + 1 < length; at += 2) {
        std::swap(bytes[at], bytes[at + 1]);
    }
}

// A frame's sector head, 132 bytes: the magic, the image length, the camera, a BCD date and time
// whose bytes stand in swapped pairs, compression, picture type and the start of the image.
struct SectorHead {
    uint32_t magic;
    int16_t imageLength;
    uint8_t camera;
    int32_t year, month, day, hour, minute, second, hundredths;
    uint8_t compression;
    uint8_t imageType;
    bool plain;   // the image starts with FF D8
    bool swapped; // its bytes stand in swapped pairs, D8 FF two bytes further in
};

SectorHead ParseSectorHead(ByteView bytes) {
    SectorHead head{};
    head.magic = bytes.U32LE(0);
    head.imageLength = bytes.I16LE(6);
    head.camera = bytes.U8(20);
    head.year = static_cast<int32_t>(Bcd::Value(bytes.U16LE(22)));
    head.day = static_cast<int32_t>(Bcd::Value(bytes.U8(24)));
    head.month = static_cast<int32_t>(Bcd::Value(bytes.U8(25)));
    head.minute = static_cast<int32_t>(Bcd::Value(bytes.U8(26)));
    head.hour = static_cast<int32_t>(Bcd::Value(bytes.U8(27)));
    head.hundredths = static_cast<int32_t>(Bcd::Value(bytes.U8(28)));
    head.second = static_cast<int32_t>(Bcd::Value(bytes.U8(29)));
    head.compression = bytes.U8(36);
    head.imageType = bytes.U8(40);
    head.plain = bytes.U16BE(ImageStart) == 0xFFD8;
    head.swapped = bytes.Has(ImageStart + 2, 2) && bytes.U16LE(ImageStart + 2) == 0xFFD8;
    return head;
}

// Each table row: "C<n>" with "ID" in it, then the text of camera n.
void ReadCameraTexts(ByteView table, std::vector<std::string>& texts) {
    std::vector<std::string_view> strings;
    std::string_view all(reinterpret_cast<const char*>(table.Data()), table.Size());
    for (size_t at = 0; at < all.size();) {
        size_t end = std::min(all.find('\0', at), all.size());
        strings.push_back(all.substr(at, end - at));
        at = end + 1;
    }
    for (size_t index = 0; index + 1 < strings.size(); ++index) {
        std::string name(strings[index]);
        int number = -1;
        if (std::sscanf(name.c_str(), "C%d", &number) == 1 && name.find("ID") != std::string::npos &&
            number >= 0 && number < MaxCameras) {
            texts[static_cast<size_t>(number)] = strings[index + 1];
            ++index;
        }
    }
}

} // namespace

void DecodeFaiveley::ForgetRecording() {
    frames.Clear();
    fileId = -1;
    fileSize = 0;
    std::fill(std::begin(parameters), std::end(parameters), 0);
    position = 0;
    siteName.clear();
    cameraTexts.assign(MaxCameras, std::string());
    swapped = false;
    hasSubSeconds = false;
    compression = 0;
    imageType = 0;
    quality = 0;
    jpeg.clear();
}

// ---- loading: the parameters, the camera table, the site record, then every sector's head ----

DecoderAction DecodeFaiveley::LoadingCore() {
    Reset();
    Path::NameScan scan;
    std::string_view loaded(loadName);
    std::string_view extension = Path::ScanName(loaded, &scan) && scan.extensionStart >= 0
                                     ? loaded.substr(static_cast<size_t>(scan.extensionStart) + 1)
                                     : std::string_view();
    if (!NameOrder::EqualIgnoringCase(extension.substr(0, 3), "arc")) {
        return Fail("DecodeFaiveley::LoadingGetOpenName failed due to extension not being \"arc\"\n");
    }
    return Open(loadName, &DecodeFaiveley::OnOpened,
                "DecodeFaiveley::LoadingOpenComplete failed with bad fileId or fileSize\n");
}

DecoderAction DecodeFaiveley::OnOpened(int32_t newFileId, uint64_t newFileSize) {
    if (newFileSize < MinimumFileSize) {
        return Fail(
            "DecodeFaiveley LoadingOpenComplete failing due to file being too small to contain headers\n");
    }
    fileId = newFileId;
    fileSize = newFileSize;
    return Read(fileId, 0, ParametersSize, &DecodeFaiveley::OnParameters, LoadReadFailure);
}

// Six parameter records, each the id and a value 8 bytes in: the camera table lies from the third
// value to the fourth, the frames start a sector behind the sixth.
DecoderAction DecodeFaiveley::OnParameters(ByteView bytes) {
    for (size_t index = 0; index < 6; ++index) {
        if (bytes.U32LE(ParameterRecords[index]) != ParameterId) {
            return Fail("DecodeFaiveley LoadingReadComplete failing due to invalid id's\n");
        }
        parameters[index] = bytes.U32LE(ParameterRecords[index] + 8);
    }
    if (parameters[2] > parameters[3] || parameters[3] > fileSize) {
        return Fail(
            "DecodeFaiveley LoadingReadComplete failing due to file header parameter offset errors\n");
    }
    return Read(fileId, parameters[2], parameters[3] - parameters[2], &DecodeFaiveley::OnCameraTable,
                LoadReadFailure);
}

DecoderAction DecodeFaiveley::OnCameraTable(ByteView bytes) {
    std::vector<uint8_t> table(bytes.begin(), bytes.end());
    SwapBytePairs(table.data(), table.size() > UnswappedTableTail ? table.size() - UnswappedTableTail : 0);
    ReadCameraTexts(ByteView(table.data(), table.size()), cameraTexts);
    return Read(fileId, fileSize - SectorSize, SectorSize, &DecodeFaiveley::OnSiteRecord, LoadReadFailure);
}

// The site name: a length at 70, four more than the text at 76; runs of blanks count as one.
DecoderAction DecodeFaiveley::OnSiteRecord(ByteView bytes) {
    const int32_t length = bytes.I16LE(70) - 4;
    ByteView text = bytes.Sub(76, static_cast<size_t>(std::max(length, 0)));
    std::vector<uint8_t> name(text.begin(), text.end());
    SwapBytePairs(name.data(), name.size());
    for (uint8_t byte : name) {
        if (byte == '\0') {
            break;
        }
        if (byte != ' ' || siteName.empty() || siteName.back() != ' ') {
            siteName.push_back(static_cast<char>(byte));
        }
    }
    position = uint64_t{parameters[5]} + SectorSize;
    if (position + SectorHeadSize > fileSize - SectorSize) {
        return Fail("DecodeFaively LoadingReadComplete failing when reading FirstImageHeader\n");
    }
    return ReadSector();
}

DecoderAction DecodeFaiveley::ReadSector() {
    ReportProgress(static_cast<double>(position) / static_cast<double>(fileSize));
    return Read(fileId, position, SectorHeadSize, &DecodeFaiveley::OnSector, LoadReadFailure);
}

// Sectors without the magic and an image start hold the data of the frame before.
DecoderAction DecodeFaiveley::OnSector(ByteView bytes) {
    const SectorHead head = ParseSectorHead(bytes);
    if (head.magic == SectorMagic && (head.plain || head.swapped)) {
        if (frames.Count() > 0) {
            frames.RecordAt(frames.Count() - 1)->size =
                static_cast<uint32_t>(position - frames.RecordAt(frames.Count() - 1)->offset);
        }
        FaiveleyFrameInfo frame{};
        frame.recordedTime = TicksFromSystemTime(head.year, head.month, head.day, head.hour, head.minute,
                                                 head.second, head.hundredths * 10);
        frame.streamTime = frame.recordedTime;
        frame.offset = position;
        frame.camera.number = head.camera;
        std::snprintf(frame.camera.name, CameraNameLength, "%s - %s", siteName.c_str(),
                      cameraTexts[head.camera % MaxCameras].c_str());
        frames.Append(frame);
        swapped = head.swapped;
        hasSubSeconds = hasSubSeconds || head.hundredths != 0;
        compression = head.compression;
        imageType = head.imageType;
    }
    position += SectorSize;
    return position + ImageStart < fileSize - SectorSize ? ReadSector() : Finish();
}

// The picture size and the quality come from the last frame's head.
DecoderAction DecodeFaiveley::Finish() {
    if (frames.Count() > 0) {
        FaiveleyFrameInfo* last = frames.RecordAt(frames.Count() - 1);
        last->size = static_cast<uint32_t>(fileSize - last->offset - SectorSize);
    }
    if (frames.Count() == 0 || (imageType != 1 && imageType != 2)) {
        return Fail("DecodeFaiveley::LoadingReadComplete unknown image type\n");
    }
    quality = compression == 0 ? 24 : compression == 'P' ? 60 : 32;
    if (quality == 32) {
        Log(LogCore,
            "This video has a Faiveley compression other than WEAK or AVERAGE and may not be displayed "
            "correctly\n");
    }
    totalFrames = frames.Count();
    SetImageFormat(imageType == 1 ? 352 : 720, 288, 720, 576, true, totalFrames);
    if (!hasSubSeconds) {
        StreamTimes::AssignSpreading(frames.begin(), frames.end());
    }
    SetTimeSpan(frames.GetAt(0).recordedTime, frames.GetAt(totalFrames - 1).recordedTime);
    ReportProgress(1.0);
    return DDA_COMPLETE;
}

// ---- fetching a frame: its scan behind the header ----

DecoderAction DecodeFaiveley::DecompressingCore() {
    jpeg.clear();
    const FaiveleyFrameInfo* frame = frames.RecordAt(currentFrame);
    return Read(fileId, frame->offset, frame->size, &DecodeFaiveley::OnFrame,
                "DecodeFaiveley::LoadingReadComplete failed with bad result\n");
}

// The image runs `imageLength` - 120 bytes from 128; the scan starts behind its start-of-image
// marker.
DecoderAction DecodeFaiveley::OnFrame(ByteView bytes) {
    const SectorHead head = ParseSectorHead(bytes);
    if (head.magic != SectorMagic) {
        return DDA_COMPLETE;
    }
    if (head.imageLength < 0) {
        Log(LogCore, "DecodeFailveley::GetImage failing because vidHeader indicates an invalid image size\n");
        return DDA_COMPLETE;
    }
    const size_t imageBytes = head.imageLength > 120 ? static_cast<size_t>(head.imageLength) - 120 : 0;
    if (head.imageLength > static_cast<int64_t>(bytes.Size()) || !bytes.Has(ImageStart, imageBytes)) {
        Log(LogCore,
            "DecodeFaiveley::GetImage failing because vidHeader indicates too large an image size\n");
        return DDA_COMPLETE;
    }
    std::vector<uint8_t> image(bytes.Data() + ImageStart, bytes.Data() + ImageStart + imageBytes);
    if (swapped) {
        SwapBytePairs(image.data(), image.size());
    }
    const size_t scanStart = swapped ? 4 : 2;
    jpeg.resize(StandardJpegHeader::Size);
    StandardJpegHeader::Write(jpeg.data(), imageWidth, imageHeight, 0x21);
    StandardJpegHeader::SetQuality(jpeg.data(), quality);
    jpeg.insert(jpeg.end(), image.begin() + static_cast<long>(std::min(scanStart, image.size())),
                image.end());
    return DDA_COMPLETE;
}

bool DecodeFaiveley::GetImage(int32_t bufferSize, uint8_t* buffer) {
    return !jpeg.empty() && JpegDecodeToBuffer(jpegScratch, jpeg.data(), static_cast<int32_t>(jpeg.size()),
                                               buffer, bufferSize);
}

} // namespace Vorn::Vorncast::Decoders
