#include "formats/ljd/DecodeLjdLeviathan.h"

#include "formats/shared/IndexRows.h"
#include "model/support/Limits.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <string>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr uint16_t NoCamera = 0xFFFF;
constexpr uint16_t MaxCameraNumber = 16;
constexpr int32_t NamedCameras = 16;
constexpr size_t MaxSettingsSize = 5000;

// Days since 1899-12-30 as ticks; a day outside 1995 to 2049 gives 0.
int64_t TicksFromDays(double days) {
    if (!(days >= 34698.75 && days <= 54787.5)) {
        return 0;
    }
    return 599264352000000000 + static_cast<int64_t>(days * 864000000000.0);
}

void LogFromWorker(void* decoder, const char* text) {
    static_cast<DecodeLjdLeviathan*>(decoder)->Log(LogCore, "%s", text);
}

} // namespace

void DecodeLjdLeviathan::ForgetRecording() {
    dll.reset();
    recordingOpen = false;
    frames.Clear();
    for (CameraTag& camera : cameras) {
        camera = CameraTag{};
        camera.number = NoCamera;
    }
    fileId = -1;
    fileSize = 0;
    hasIndex = false;
    recordsRead = recordCount = position = 0;
    openPath = 0;
    largestImage = 0;
    picture.clear();
    goodPicture = false;
}

void DecodeLjdLeviathan::SetExtension(const char* extension) {
    std::memcpy(loadName + std::strlen(loadName) - 3, extension, 3);
}

void DecodeLjdLeviathan::SeeCamera(uint16_t camera) {
    cameras[camera].number = camera;
}

void DecodeLjdLeviathan::GetCameras(uint8_t* mask) {
    std::memset(mask, 0, CameraMaskBytes);
    for (int32_t row = 0; row < NamedCameras; ++row) {
        if (static_cast<int16_t>(cameras[row].number) >= 0) {
            mask[row / 8] |= static_cast<uint8_t>(1u << (row % 8));
        }
    }
}

void DecodeLjdLeviathan::GetFrameCamera(CameraTag* camera) {
    *camera = cameras[std::min<uint16_t>(frames.GetAt(currentFrame).camera, MaxCameraNumber)];
}

// ---- loading: settings, index and image store, whichever of the three was named ----

DecoderAction DecodeLjdLeviathan::LoadingCore() {
    Reset();
    const size_t length = std::strlen(loadName);
    if (length < 4 || loadName[length - 4] != '.') {
        return Fail("LjdLeviathan No file extension found\n");
    }
    for (size_t at = length - 3; at < length; ++at) {
        loadName[at] = static_cast<char>(std::tolower(static_cast<unsigned char>(loadName[at])));
    }
    const std::string extension = loadName + length - 3;
    if (extension != "vdb" && extension != "vdd" && extension != "vmb") {
        return Fail("LjdLeviathan File extension not recognised\n");
    }
    completeEvent.Reset();
    dll = std::make_unique<LjdLeviathanDll>(completeEvent, &LogFromWorker, this);
    SetExtension("vdd");
    return Open(loadName, &DecodeLjdLeviathan::OnSettingsOpened, nullptr);
}

// A settings text that is missing or too long is passed over.
DecoderAction DecodeLjdLeviathan::OnSettingsOpened(int32_t newFileId, uint64_t newFileSize) {
    if (newFileId == -1 || newFileSize == 0 || newFileSize > MaxSettingsSize) {
        return newFileId != -1 ? Close(newFileId, &DecodeLjdLeviathan::OpenIndex) : OpenIndex();
    }
    fileId = newFileId;
    return Read(fileId, 0, static_cast<uint32_t>(newFileSize), &DecodeLjdLeviathan::OnSettings, nullptr);
}

DecoderAction DecodeLjdLeviathan::OnSettings(ByteView text) {
    ReadSettings(text);
    return Close(fileId, &DecodeLjdLeviathan::OpenIndex);
}

// Lines "CamN = name" of the section "[CamDisplayNames]", up to the next section.
void DecodeLjdLeviathan::ReadSettings(ByteView text) {
    const std::string all(text.begin(), text.end());
    bool inSection = false;
    size_t start = 0;
    while (start < all.size()) {
        size_t end = start;
        while (end < all.size() && static_cast<unsigned char>(all[end]) >= 32) {
            ++end;
        }
        const std::string line = all.substr(start, end - start);
        start = end + 1;
        if (!inSection || line.empty()) {
            inSection = inSection || line == "[CamDisplayNames]";
            continue;
        }
        if (line[0] == '[') {
            break;
        }
        size_t digitsEnd = 3;
        while (digitsEnd < line.size() && std::isdigit(static_cast<unsigned char>(line[digitsEnd])) != 0) {
            ++digitsEnd;
        }
        const size_t equals = line.find('=', digitsEnd);
        if (line.compare(0, 3, "Cam") != 0 || digitsEnd == 3 || digitsEnd > 5 ||
            equals == std::string::npos || line.find_first_not_of(' ', digitsEnd) != equals) {
            continue;
        }
        const int32_t number = std::stoi(line.substr(3, digitsEnd - 3));
        const size_t nameStart = std::min(line.find_first_not_of(' ', equals + 1), line.size());
        if (number < NamedCameras) {
            std::snprintf(cameras[number].name, CameraNameLength, "%s", line.c_str() + nameStart);
        }
    }
}

DecoderAction DecodeLjdLeviathan::OpenIndex(int32_t) {
    fileId = -1;
    SetExtension("vdb");
    return Open(loadName, &DecodeLjdLeviathan::OnIndexOpened, nullptr);
}

// Without an index the image store is walked instead.
DecoderAction DecodeLjdLeviathan::OnIndexOpened(int32_t newFileId, uint64_t newFileSize) {
    if (newFileId == -1) {
        return OpenStore();
    }
    hasIndex = true;
    fileId = newFileId;
    fileSize = newFileSize;
    recordCount = newFileSize > IndexHeaderSize ? (newFileSize - IndexHeaderSize) / IndexRecordSize : 0;
    recordsRead = 0;
    return ReadIndexBatch();
}

DecoderAction DecodeLjdLeviathan::ReadIndexBatch() {
    if (recordsRead == recordCount) {
        return Close(fileId, &DecodeLjdLeviathan::OpenStore);
    }
    const uint64_t offset = IndexHeaderSize + IndexRecordSize * recordsRead;
    ReportProgress(static_cast<double>(offset) / static_cast<double>(fileSize));
    const auto batch = static_cast<uint32_t>(std::min<uint64_t>(RecordsPerRead, recordCount - recordsRead));
    return Read(fileId, offset, batch * IndexRecordSize, &DecodeLjdLeviathan::OnIndexBatch, nullptr);
}

DecoderAction DecodeLjdLeviathan::OnIndexBatch(ByteView records) {
    IndexRows rows(records, 0, records.Size() / IndexRecordSize, IndexRecordSize);
    for (uint32_t index = 0; index < rows.Count(); ++index) {
        ByteReader r = rows.Row(index);
        LjdLeviathanFrameInfo frame{};
        frame.camera = r.U8();
        frame.offset = r.U64LE();
        frame.size = r.U32LE();
        double days = 0;
        const uint64_t bits = r.U64LE();
        std::memcpy(&days, &bits, sizeof days);
        frame.recordedTime = TicksFromDays(days);
        frame.isKeyFrame = (r.U16LE() & 2) != 0 ? 1 : 0;
        if (frame.camera > MaxCameraNumber) {
            return Fail("LjdLeviathan Bad camera number 1\n");
        }
        SeeCamera(frame.camera);
        largestImage = std::max(largestImage, frame.size);
        frames.Append(frame);
    }
    recordsRead += rows.Count();
    return ReadIndexBatch();
}

DecoderAction DecodeLjdLeviathan::OpenStore(int32_t) {
    fileId = -1;
    SetExtension("vmb");
    return Open(loadName, &DecodeLjdLeviathan::OnStoreOpened, nullptr);
}

DecoderAction DecodeLjdLeviathan::OnStoreOpened(int32_t newFileId, uint64_t newFileSize) {
    if (newFileId == -1 || newFileSize == 0) {
        return Fail("LjdLeviathan Open failed\n");
    }
    fileId = newFileId;
    fileSize = newFileSize;
    if (hasIndex) {
        const LjdLeviathanFrameInfo last = frames.GetAt(frames.Count() - 1);
        if (frames.Count() > 0 && last.offset + last.size > fileSize) {
            return Fail("LjdLeviathan Frame extends off end of file\n");
        }
        return OpenOnWorker(1);
    }
    position = 0;
    return Read(fileId, 0, ImageHeaderSize, &DecodeLjdLeviathan::OnImageHeader, nullptr);
}

// A header's size leads to the next one; a size of 0 would hold the walk in place and ends it.
DecoderAction DecodeLjdLeviathan::OnImageHeader(ByteView header) {
    ByteReader r(header);
    r.Skip(4); // not read
    const uint32_t size = r.U32LE();
    double days = 0;
    const uint64_t bits = r.U64LE();
    std::memcpy(&days, &bits, sizeof days);
    const uint8_t camera = r.U8();
    const uint16_t measureA = r.U16LE();
    const uint16_t measureB = r.U16LE();
    const uint8_t flags = r.U8();
    if (measureA > 1000 || measureB > 1000 || measureA > 3 * measureB) {
        return Fail("LjdLeviathan Bad image size\n");
    }
    LjdLeviathanFrameInfo frame{};
    frame.recordedTime = TicksFromDays(days);
    if (frame.recordedTime == 0) {
        return Fail("LjdLeviathan Bad time\n");
    }
    if (camera > MaxCameraNumber) {
        return Fail("LjdLeviathan Bad camera number 2\n");
    }
    frame.offset = position;
    frame.size = size;
    frame.camera = camera;
    frame.isKeyFrame = (flags & 2) != 0 ? 1 : 0;
    SeeCamera(camera);
    largestImage = std::max(largestImage, size);
    frames.Append(frame);
    position += size;
    if (size > 0 && position + ImageHeaderSize < fileSize) {
        return Read(fileId, position, ImageHeaderSize, &DecodeLjdLeviathan::OnImageHeader, nullptr);
    }
    return OpenOnWorker(2);
}

// The library opens the recording by the name of the image store.
DecoderAction DecodeLjdLeviathan::OpenOnWorker(int32_t path) {
    openPath = path;
    return Close(fileId, &DecodeLjdLeviathan::OnStoreClosed);
}

DecoderAction DecodeLjdLeviathan::OnStoreClosed(int32_t) {
    fileId = -1;
    if (!dll->Open(loadName)) {
        return Fail("LjdLeviathan ljdLeviathanDll.Open failed %d\n", openPath);
    }
    recordingOpen = true;
    return WaitEvent(&DecodeLjdLeviathan::OnOpenResult);
}

// Each frame depends on the latest key frame of its camera before it.
DecoderAction DecodeLjdLeviathan::OnOpenResult(WaitObject) {
    int32_t width = 0, height = 0;
    if (!dll->GetOpenResult(&width, &height)) {
        return Fail("LjdLeviathan ljdLeviathanDll.GetOpenResult failed\n");
    }
    int32_t latestKey[CameraRows];
    std::fill(std::begin(latestKey), std::end(latestKey), -1);
    for (int32_t index = 0; index < frames.Count(); ++index) {
        LjdLeviathanFrameInfo* frame = frames.RecordAt(index);
        if (frame->isKeyFrame != 0) {
            latestKey[frame->camera] = index;
        }
        frame->keyFrame = latestKey[frame->camera];
    }
    const int64_t pictureSize = int64_t{std::max(width, 0)} * std::max(height, 0) * 3;
    picture.assign(pictureSize <= MaxPictureBytes ? static_cast<size_t>(pictureSize) : 0, 0);
    SetImageFormat(width, height, 4, 3, true, frames.Count());
    SetTimeSpan(frames.GetFirstTime(), frames.GetLastTime());
    frames.AssignStreamTimes();
    return DDA_COMPLETE;
}

// ---- fetching: the library decodes on its thread while the client waits ----

DecoderAction DecodeLjdLeviathan::DecompressingCore() {
    goodPicture = false;
    const LjdLeviathanFrameInfo frame = frames.GetAt(currentFrame);
    if (!dll || !dll->Read(frame.camera, frame.keyFrame, currentFrame, picture.data(),
                           static_cast<int32_t>(picture.size()))) {
        return DecoderFailure();
    }
    return WaitEvent(&DecodeLjdLeviathan::OnReadResult);
}

DecoderAction DecodeLjdLeviathan::OnReadResult(WaitObject) {
    goodPicture = dll->GetReadResult();
    return DDA_COMPLETE;
}

bool DecodeLjdLeviathan::GetImage(int32_t bufferSize, uint8_t* buffer) {
    if (buffer == nullptr || bufferSize <= 0) {
        return false;
    }
    if (!goodPicture || picture.empty() || static_cast<size_t>(bufferSize) < picture.size()) {
        std::memset(buffer, 0, static_cast<size_t>(bufferSize));
        return false;
    }
    std::memcpy(buffer, picture.data(), picture.size());
    return true;
}

// ---- unloading and failing: the library lets the recording go first ----

bool DecodeLjdLeviathan::SubmitClose(const char* failure) {
    if (!recordingOpen || !dll) {
        return false;
    }
    if (!dll->Close()) {
        Log(LogCore, "%s", failure);
        recordingOpen = false;
        return false;
    }
    return true;
}

DecoderAction DecodeLjdLeviathan::UnloadingCore() {
    if (HasOpenFiles()) {
        return FrameListDecoder::UnloadingCore();
    }
    return SubmitClose("LjdLeviathan ljdLeviathanDll.Close failed 1\n") ? DDA_WAIT_EVENT
                                                                        : FrameListDecoder::UnloadingCore();
}

DecoderAction DecodeLjdLeviathan::UnloadingEventComplete(WaitObject) {
    recordingOpen = false;
    if (!dll->GetCloseResult()) {
        Log(LogCore, "LjdLeviathan ljdLeviathanDll.GetCloseResult failed\n");
    }
    return FrameListDecoder::UnloadingCore();
}

DecoderAction DecodeLjdLeviathan::FailingCore() {
    if (HasOpenFiles()) {
        return FrameListDecoder::FailingCore();
    }
    return SubmitClose("LjdLeviathan ljdLeviathanDll.Close failed 2\n") ? DDA_WAIT_EVENT
                                                                        : FrameListDecoder::FailingCore();
}

DecoderAction DecodeLjdLeviathan::FailingEventComplete(WaitObject) {
    recordingOpen = false;
    if (!dll->GetCloseResult()) {
        Log(LogCore, "DecodeLjdLeviathan::FailingEventComplete GetCloseResult failed\n");
    }
    return DecoderFailure();
}

} // namespace Vorn::Vorncast::Decoders
