#include "formats/avi/DecodeOctarIESS.h"

#include "core/time/Ticks.h"
#include "formats/shared/JpegStartScan.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>

namespace Vorn::Vorncast::Decoders {

namespace {

// "yyyy/mm/dd/hh": the date and hour levels below a recording's root.
constexpr size_t DateLevels = 13;

int32_t Digits(const char* text, size_t count) {
    int32_t value = 0;
    for (size_t index = 0; index < count; ++index) {
        if (text[index] < '0' || text[index] > '9') {
            return -1;
        }
        value = value * 10 + (text[index] - '0');
    }
    return value;
}

// The folder of `path` without its last separator.
std::string FolderOf(const char* path) {
    const char* slash = std::strrchr(path, '/');
    return slash != nullptr ? std::string(path, static_cast<size_t>(slash - path)) : std::string();
}

// The date of a folder whose last levels are "yyyy/mm/dd/hh".
bool DateOfFolder(const std::string& folder, SystemTime* date) {
    if (folder.size() < DateLevels) {
        return false;
    }
    const char* levels = folder.c_str() + folder.size() - DateLevels;
    const int32_t year = Digits(levels, 4), month = Digits(levels + 5, 2), day = Digits(levels + 8, 2);
    if (year < 0 || month < 1 || day < 1 || levels[4] != '/' || levels[7] != '/' || levels[10] != '/') {
        return false;
    }
    *date = {};
    date->wYear = static_cast<uint16_t>(year);
    date->wMonth = static_cast<uint16_t>(month);
    date->wDay = static_cast<uint16_t>(day);
    return true;
}

// A camera number of up to two digits at `at` of a name, as "%2d" reads it.
int32_t CameraAt(const char* name, size_t at) {
    if (std::strlen(name) <= at) {
        return -1;
    }
    const int32_t two = Digits(name + at, 2);
    return two >= 0 ? two : Digits(name + at, 1);
}

} // namespace

DecodeOctarIESS::DecodeOctarIESS(const DecoderRow& row) : BaseAVIDecoder(row) {
    nameWithFourCC = false;
    multiFile = true;
}

void DecodeOctarIESS::ForgetRecording() {
    BaseAVIDecoder::ForgetRecording();
    dateFromPath = false;
    date = {};
    searchingVisi = true;
    visiPosition = 0;
    visiCamera = -1;
    visiName[0] = '\0';
    lastStreamOfCamera.clear();
}

bool DecodeOctarIESS::ValidateFourCC(uint32_t code) {
    return code == FourCCLE("MJPG") || code == FourCCLE("mjpg");
}

// A ".cam" file stands at the recording's root; an AVI file four levels below it, in its date and
// hour folders.
DecoderAction DecodeOctarIESS::ListRecordingFiles() {
    std::string root = FolderOf(loadName);
    const char* dot = std::strrchr(loadName, '.');
    if (dot != nullptr && strcasecmp(dot + 1, "cam") == 0) {
        dateFromPath = true;
    } else if (DateOfFolder(root, &date)) {
        root.resize(root.size() - DateLevels - 1);
    } else {
        filePathError = true;
    }
    files.ListingDirectoryOf((root + "/").c_str());
    return ListFiles((root + "/").c_str(), "*.avi", 4, &DecodeOctarIESS::OnFilesListed);
}

bool DecodeOctarIESS::HasTextStream() {
    return parser.StreamCount() == 2 && parser.GetStream(1) != nullptr &&
           parser.GetStream(1)->type == FourCCLE("txts");
}

void DecodeOctarIESS::MetaDataReadParameters(uint64_t* offset, uint32_t* size) {
    if (searchingVisi) {
        *offset = visiPosition;
        *size = VisiBytes;
    } else if (!HasTextStream() || !TextFrameAt(parser.GetStream(1), offset, size)) {
        AVIMultiFileFrameInfoList* frames = CurrentFileFrames();
        const AVIMultiFileFrameInfo first =
            frames != nullptr && frames->Count() > 0 ? frames->GetAt(0) : AVIMultiFileFrameInfo{};
        *offset = first.offset;
        *size = std::max(first.size, 1u);
    }
}

DecoderAction DecodeOctarIESS::ProcessMetaData(ByteView bytes) {
    if (CurrentFileFrames() == nullptr || CurrentFileFrames()->Count() == 0) {
        return DDA_NO_ACTION;
    }
    if (searchingVisi) {
        return SearchVisi(bytes);
    }
    if (!HasTextStream()) {
        return TimesFromName();
    }
    // A text frame is a SYSTEMTIME of the video frame of the same place.
    SetCurrentFileFrameTime(metaIndex, TicksFromSystemTime(bytes.SystemTimeLE(0)));
    if (++metaIndex < parser.GetStream(1)->frames.Count()) {
        return DDA_READ;
    }
    return FinishFile();
}

// The header begins "VISI" and names the camera at 48; the search ends at movi.
DecoderAction DecodeOctarIESS::SearchVisi(ByteView bytes) {
    if (bytes.Matches(0, "VISI")) {
        bytes.Text(48, 20, visiName);
        visiCamera = CameraAt(CurrentFileName(), 6);
        searchingVisi = false;
    } else if (bytes.Size() < 4 || bytes.Matches(0, "movi") || bytes.Matches(0, "MOVI")) {
        searchingVisi = false;
    } else {
        ++visiPosition;
    }
    return DDA_READ;
}

// The name holds the seconds since midnight, two characters, and the camera; the frames follow at
// the file's rate.
DecoderAction DecodeOctarIESS::TimesFromName() {
    if (dateFromPath && !DateOfFolder(FolderOf(files.PathAt(currentFileIndex)), &date)) {
        filePathError = true;
        return Fail("DecodeOctarIESS: Decode Failure (no date in the folders of %s)\n", CurrentFileName());
    }
    const char* name = CurrentFileName();
    const int32_t seconds = Digits(name, 5);
    if (seconds < 0) {
        return Fail("DecodeOctarIESS: Decode Failure (no time in the file name %s)\n", name);
    }
    const double hours = seconds / 3600.0;
    const double hour = std::floor(hours);
    const double minutes = (hours - hour) * 60.0;
    const double minute = std::floor(minutes);
    SystemTime start = date;
    start.wHour = static_cast<uint16_t>(hour);
    start.wMinute = static_cast<uint16_t>(minute);
    start.wSecond = static_cast<uint16_t>(std::trunc((minutes - minute) * 60.0 + 1e-9));
    const int64_t first = TicksFromSystemTime(start);
    AVIMultiFileFrameInfoList* frames = CurrentFileFrames();
    for (int32_t index = 0; index < frames->Count(); ++index) {
        SetCurrentFileFrameTime(index, SaturatingAdd(first, DurationTicks(parser.FrameDuration(), index)));
    }
    return FinishFile();
}

DecoderAction DecodeOctarIESS::FinishFile() {
    const int32_t camera = visiCamera >= 0 ? visiCamera : CameraAt(CurrentFileName(), 7);
    SetCurrentFileCamera(camera >= 0 ? camera : currentFileIndex, visiName);
    SpreadEarlierFile(camera);
    lastStreamOfCamera[camera] = CurrentFileStream();
    searchingVisi = true;
    visiPosition = 0;
    visiCamera = -1;
    visiName[0] = '\0';
    return DDA_NO_ACTION;
}

// Files of one camera must not overlap: an earlier file that runs into this one is spread evenly
// from its own first frame to this file's first.
void DecodeOctarIESS::SpreadEarlierFile(int32_t camera) {
    const auto earlier = lastStreamOfCamera.find(camera);
    if (earlier == lastStreamOfCamera.end()) {
        return;
    }
    AVIMultiFileFrameInfoList& previous = videoStreams[earlier->second]->frames;
    const int64_t next = CurrentFileFrames()->GetAt(0).recordedTime;
    const int32_t count = previous.Count();
    if (count == 0) {
        return;
    }
    const int64_t start = previous.GetAt(0).recordedTime;
    const int64_t end =
        SaturatingAdd(previous.GetAt(count - 1).recordedTime, DurationTicks(parser.FrameDuration(), 1));
    if (next >= end || next <= start) {
        return;
    }
    int32_t index = 0;
    for (AVIMultiFileFrameInfo& frame : previous) {
        frame.recordedTime =
            SaturatingAdd(start, DurationTicks(static_cast<double>(next) - static_cast<double>(start),
                                               static_cast<double>(index) / count));
        frame.streamTime = frame.recordedTime;
        ++index;
    }
}

bool DecodeOctarIESS::GetImage(int32_t bufferSize, uint8_t* buffer) {
    if (currentFrame >= 0 && currentFrame < frames.Count() &&
        CameraOfCurrentFrame().codec == AviCodec::Jpeg && CameraOfCurrentFrame().imageValid &&
        WeaveFields(FetchedFrame(), bufferSize, buffer)) {
        return true;
    }
    return BaseAVIDecoder::GetImage(bufferSize, buffer);
}

// Two JPEG images in one frame are its two fields: the first gives the even lines, the second the
// odd ones.
bool DecodeOctarIESS::WeaveFields(ByteView frame, int32_t bufferSize, uint8_t* buffer) {
    uint64_t second = 0;
    ScanJpegStarts(frame, 0, [&](uint64_t start) {
        if (start > 0 && second == 0) {
            second = start;
        }
    });
    PerCameraDatum& camera = CameraOfCurrentFrame();
    const size_t line = static_cast<size_t>(camera.width) * 3;
    const size_t fieldBytes = line * static_cast<size_t>(camera.height / 2);
    if (second == 0 || buffer == nullptr || static_cast<size_t>(bufferSize) < 2 * fieldBytes) {
        return false;
    }
    fieldScratch.resize(2 * fieldBytes);
    const auto firstSize = static_cast<int32_t>(second);
    const auto secondSize = static_cast<int32_t>(frame.Size() - second);
    if (!JpegDecodeToBuffer(camera.jpegScratch, frame.Data(), firstSize, fieldScratch.data(),
                            static_cast<int32_t>(fieldBytes)) ||
        !JpegDecodeToBuffer(camera.jpegScratch, frame.Data() + second, secondSize,
                            fieldScratch.data() + fieldBytes, static_cast<int32_t>(fieldBytes))) {
        return false;
    }
    for (size_t row = 0; row < static_cast<size_t>(camera.height / 2); ++row) {
        std::memcpy(buffer + 2 * row * line, fieldScratch.data() + row * line, line);
        std::memcpy(buffer + (2 * row + 1) * line, fieldScratch.data() + fieldBytes + row * line, line);
    }
    return true;
}

} // namespace Vorn::Vorncast::Decoders
