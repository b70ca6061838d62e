#include "formats/synetics/DecodeSynetics.h"

#include "core/binary/FourCC.h"
#include "core/framelists/TimeComparer.h"
#include "core/time/Ticks.h"
#include "model/support/Path.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <strings.h>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr size_t CameraNameOffset = 580;
constexpr size_t CameraNameUnits = 36;
constexpr size_t TimeZoneOffset = 2116;
constexpr int32_t MaxPairs = 0x10000;

// The camera's name: UTF-16 units of which the low bytes are kept, up to the first zero.
std::string ReadCameraName(ByteView header) {
    std::string name;
    for (size_t unit = 0; unit < CameraNameUnits; ++unit) {
        const uint8_t low = header.U8(CameraNameOffset + unit * 2);
        if (low == 0) {
            break;
        }
        name.push_back(static_cast<char>(low));
    }
    return name;
}

// One index record: the frame's place in this file and its time, the words of a SYSTEMTIME.
SyneticsFrameItem ReadIndexRecord(ByteReader& r) {
    SyneticsFrameItem item{};
    item.offset = r.U32LE();
    item.size = r.U32LE();
    r.Skip(12); // not read
    SystemTime time{};
    time.wYear = r.U16LE();
    time.wMonth = r.U16LE();
    r.Skip(2); // day of the week, not read
    time.wDay = r.U16LE();
    time.wHour = r.U16LE();
    time.wMinute = r.U16LE();
    time.wSecond = r.U16LE();
    time.wMilliseconds = r.U16LE();
    item.recordedTime = TicksFromSystemTime(time);
    return item;
}

// "Cam" and digits: the folder of one camera in a recording that keeps each in its own.
bool IsCameraFolder(std::string_view name) {
    return name.size() > 3 && strncasecmp(name.data(), "Cam", 3) == 0 &&
           std::all_of(name.begin() + 3, name.end(),
                       [](char c) { return std::isdigit(static_cast<uint8_t>(c)); });
}

size_t LastSeparator(std::string_view path) {
    for (size_t index = path.size(); index > 0; --index) {
        if (Path::IsSeparator(path[index - 1])) {
            return index - 1;
        }
    }
    return std::string_view::npos;
}

} // namespace

void DecodeSynetics::ForgetRecording() {
    frames.Clear();
    root.clear();
    pairs.clear();
    cameraNames.clear();
    channels.clear();
    timeZone = TimeZoneInformation{};
    zoneRules = TimeZoneRules();
    pairIndex = 0;
    fileKind = 0;
    fileId = -1;
    recordCount = 0;
    pairCamera.clear();
    probedChannels = 0;
    fetching = nullptr;
}

// ---- loading: the file pairs of the folder, or of every camera's folder beside this one ----

DecoderAction DecodeSynetics::LoadingCore() {
    Reset();
    const std::string_view path(loadName);
    const size_t dot = path.rfind('.');
    if (dot == std::string_view::npos || strcasecmp(loadName + dot, ".dat") != 0) {
        return Fail("DecodeSynetics::LoadingCore File has no .dat extension\n");
    }
    const size_t separator = LastSeparator(path);
    if (separator == std::string_view::npos) {
        return Fail("DecodeSynetics::LoadingCore loadName should be a full path\n");
    }
    const size_t parentSeparator = LastSeparator(path.substr(0, separator));
    const size_t folderStart = parentSeparator == std::string_view::npos ? 0 : parentSeparator + 1;
    if (IsCameraFolder(path.substr(folderStart, separator - folderStart))) {
        root = std::string(path.substr(0, folderStart));
        return ListFiles(root.c_str(), "mpeg2_*.dat", 1, &DecodeSynetics::OnListed);
    }
    std::string mask(path.substr(separator + 1));
    if (mask.size() < 12) {
        return Fail("DecodeSynetics::LoadingCore File name too short\n");
    }
    // Either file of the pair: the digit before the extension is left open.
    mask[mask.rfind('.') - 1] = '?';
    root = std::string(path.substr(0, separator + 1));
    return ListFiles(root.c_str(), mask.c_str(), 0, &DecodeSynetics::OnListed);
}

DecoderAction DecodeSynetics::OnListed(bool ok, FileList& listed) {
    if (ok) {
        FileListComparer byName;
        listed.Sort(byName);
        if (!MakePairs(listed)) {
            return Fail(
                "DecodeSynetics::LoadingFileListComplete Impossible error, search filter was *.dat\n");
        }
    }
    if (pairs.empty()) {
        return Fail("DecodeSynetics::LoadingFileListComplete No files with the right name structure found\n");
    }
    pairIndex = 0;
    fileKind = 0;
    return OpenPairFile();
}

// An I frame file ends in "_1" before its extension; its partner, with "_2", follows it in the
// sorted list when the recording has one. Other names are passed over.
bool DecodeSynetics::MakePairs(FileList& listed) {
    for (int32_t index = 0; index < listed.Count() && pairs.size() < MaxPairs; ++index) {
        std::string name = listed.GetAt(index);
        const size_t dot = name.rfind('.');
        if (dot == std::string::npos) {
            return false;
        }
        if (dot < 2 || name.compare(dot - 2, 2, "_1") != 0) {
            continue;
        }
        FilePair pair{{name, ""}};
        name[dot - 1] = '2';
        const char* next = listed.GetAt(index + 1);
        if (next != nullptr && name == next) {
            pair.names[1] = name;
            ++index;
        }
        pairs.push_back(pair);
    }
    return true;
}

std::string DecodeSynetics::PathOf(int32_t pair, uint8_t kind) const {
    return root + pairs[static_cast<size_t>(pair)].names[kind];
}

DecoderAction DecodeSynetics::OpenPairFile() {
    ReportProgress(static_cast<double>(pairIndex * 2 + fileKind) / static_cast<double>(pairs.size() * 2 + 1));
    return Open(PathOf(pairIndex, fileKind).c_str(), &DecodeSynetics::OnPairFileOpened, nullptr);
}

DecoderAction DecodeSynetics::OnPairFileOpened(int32_t newFileId, uint64_t fileSize) {
    if (newFileId == -1) {
        return Fail("Synetics Open failed\n");
    }
    fileId = newFileId;
    if (fileSize < HeaderSize) {
        return Fail("Synetics File too small\n");
    }
    return Read(fileId, 0, HeaderSize, &DecodeSynetics::OnHeader, "Synetics File too small\n");
}

DecoderAction DecodeSynetics::OnHeader(ByteView bytes) {
    ByteReader r(bytes);
    FileHeader header{};
    header.riff = r.U32LE();
    header.mustBeZero = r.U32LE();
    r.Skip(32); // not read
    header.indexBytes = r.U32LE();
    header.count = r.U32LE();
    header.camera = ReadCameraName(bytes);
    if (!r.Ok() || header.riff != FourCCLE("RIFF") || header.mustBeZero != 0) {
        return Fail("Synetics Bad start to file header\n");
    }
    if (uint64_t{header.count} * RecordSize != header.indexBytes) {
        return Fail("Synetics Index size inconsistent in file header\n");
    }
    if (header.count == 0) {
        return Fail("Synetics Zero frame count give in file header\n");
    }
    if (fileKind == 1 && header.camera != pairCamera) {
        return Fail("Synetics I frames and P/B frames not from same camera\n");
    }
    pairCamera = header.camera;
    ReadTimeZoneInformation(bytes, TimeZoneOffset, &timeZone);
    recordCount = header.count;
    return Read(fileId, HeaderSize, header.indexBytes, &DecodeSynetics::OnIndex,
                "Synetics Index size inconsistent in file header\n");
}

DecoderAction DecodeSynetics::OnIndex(ByteView index) {
    ByteReader r(index);
    const uint16_t camera = CameraNumber(pairCamera);
    for (uint32_t record = 0; record < recordCount && r.Ok(); ++record) {
        SyneticsFrameItem item = ReadIndexRecord(r);
        item.streamTime = item.recordedTime;
        item.camera.number = camera;
        std::snprintf(item.camera.name, sizeof item.camera.name, "%s", pairCamera.c_str());
        item.fileKind = fileKind;
        item.pair = pairIndex;
        frames.Append(item);
    }
    return Close(fileId, &DecodeSynetics::OnPairFileClosed);
}

// Cameras are numbered from 0 in the order their names first appear.
uint16_t DecodeSynetics::CameraNumber(const std::string& name) {
    auto found = std::find(cameraNames.begin(), cameraNames.end(), name);
    if (found == cameraNames.end()) {
        cameraNames.push_back(name);
        return static_cast<uint16_t>(cameraNames.size() - 1);
    }
    return static_cast<uint16_t>(found - cameraNames.begin());
}

DecoderAction DecodeSynetics::OnPairFileClosed(int32_t) {
    fileId = -1;
    if (fileKind == 0 && !pairs[static_cast<size_t>(pairIndex)].names[1].empty()) {
        fileKind = 1;
        return OpenPairFile();
    }
    fileKind = 0;
    if (++pairIndex < static_cast<int32_t>(pairs.size())) {
        return OpenPairFile();
    }
    return FinishIndex();
}

// All pairs read: the frames in time order, the zone over their span, spread stream times.
DecoderAction DecodeSynetics::FinishIndex() {
    if (frames.Count() == 0 || cameraNames.empty() || cameraNames.size() > MaxCameras) {
        return Fail("Synetics No cameras or no frames\n");
    }
    TimeComparer<SyneticsFrameItem> byTime;
    frames.Sort(byTime);
    zoneRules.Build(frames.GetAt(0).recordedTime, frames.GetAt(frames.Count() - 1).recordedTime, timeZone);
    frames.AssignStreamTimes();
    totalFrames = frames.Count();
    currentFrame = 0;
    const FrameTimes first = GetFrameTimes();
    currentFrame = totalFrames - 1;
    const FrameTimes last = GetFrameTimes();
    currentFrame = -1;
    SetTimeSpan(first, last);
    for (size_t camera = 0; camera < cameraNames.size(); ++camera) {
        channels.push_back(std::make_unique<SyneticsInputChannel>(static_cast<uint16_t>(camera)));
    }
    probedChannels = 0;
    return ProbeNextCamera();
}

// Each channel learns its picture size from its camera's first frame.
DecoderAction DecodeSynetics::ProbeNextCamera() {
    if (probedChannels == channels.size()) {
        return Finish();
    }
    const SyneticsFrameItem first =
        frames.GetAt(NextFrameOfCamera(frames, -1, static_cast<int32_t>(probedChannels)));
    return Open(PathOf(first.pair, first.fileKind).c_str(), &DecodeSynetics::OnProbeOpened,
                "Synetics Open failed\n");
}

DecoderAction DecodeSynetics::OnProbeOpened(int32_t newFileId, uint64_t) {
    fileId = newFileId;
    const SyneticsFrameItem first =
        frames.GetAt(NextFrameOfCamera(frames, -1, static_cast<int32_t>(probedChannels)));
    return Read(fileId, first.offset, first.size, &DecodeSynetics::OnProbeFrame,
                "Synetics Failed to initialise channel\n");
}

DecoderAction DecodeSynetics::OnProbeFrame(ByteView bytes) {
    if (!channels[probedChannels]->Initialise(bytes)) {
        return Fail("Synetics Failed to initialise channel\n");
    }
    return Close(fileId, &DecodeSynetics::OnProbeClosed);
}

DecoderAction DecodeSynetics::OnProbeClosed(int32_t) {
    fileId = -1;
    ++probedChannels;
    return ProbeNextCamera();
}

DecoderAction DecodeSynetics::Finish() {
    const SyneticsInputChannel& first = *channels.front();
    SetImageFormat(first.Width(), first.Height(), first.Width(), first.Height(), true, frames.Count());
    ReportProgress(1.0);
    return DDA_COMPLETE;
}

// ---- fetching a frame: its camera's channel walks from an I frame or on from where it stopped ----

DecoderAction DecodeSynetics::PositioningCore() {
    if (currentFrame < 0 || currentFrame >= frames.Count()) {
        return Fail("Synetics Synetics currentFrame not in frameInfolist 1\n");
    }
    return DDA_COMPLETE;
}

DecoderAction DecodeSynetics::DecompressingCore() {
    const SyneticsFrameItem* frame = frames.RecordAt(currentFrame);
    if (frame == nullptr || frame->camera.number >= channels.size()) {
        return Fail("Synetics currentFrame not in frameInfolist 2\n");
    }
    fetching = channels[frame->camera.number].get();
    switch (fetching->Begin(frames, currentFrame)) {
    case SyneticsInputChannel::Need::Frames:
        return ReadWalkFrame();
    case SyneticsInputChannel::Need::Picture:
    case SyneticsInputChannel::Need::NoStart:
        break;
    }
    return DDA_COMPLETE;
}

DecoderAction DecodeSynetics::ReadWalkFrame() {
    const SyneticsFrameItem frame = frames.GetAt(fetching->NextToRead());
    if (fetching->openPair != frame.pair) {
        return CloseChannelFiles();
    }
    return TryRead(fetching->fileIds[frame.fileKind], frame.offset, frame.size, &DecodeSynetics::OnWalkFrame);
}

DecoderAction DecodeSynetics::OnWalkFrame(bool ok, ByteView bytes) {
    if (!ok) {
        fetching->Forget();
        return Fail(
            "DecodeSynetics::SyneticsInputChannel::DecompressingReadComplete failure with invalid result\n");
    }
    switch (fetching->Take(frames, bytes)) {
    case SyneticsInputChannel::Step::More:
        return ReadWalkFrame();
    case SyneticsInputChannel::Step::Broken:
        return Fail("SyneticsInputChannel::DecompressingReadComplete failing with invalid frameInfo\n");
    case SyneticsInputChannel::Step::Done:
        break;
    }
    return DDA_COMPLETE;
}

// A walk into another pair closes the channel's files, one by one, and opens the pair's two.
DecoderAction DecodeSynetics::CloseChannelFiles() {
    for (int32_t& open : fetching->fileIds) {
        if (open != -1) {
            const int32_t closing = open;
            open = -1;
            return Close(closing, &DecodeSynetics::OnChannelFileClosed);
        }
    }
    fetching->openPair = -1;
    return OpenChannelFile(0);
}

DecoderAction DecodeSynetics::OnChannelFileClosed(int32_t) {
    return CloseChannelFiles();
}

DecoderAction DecodeSynetics::OpenChannelFile(uint8_t kind) {
    const int32_t pair = frames.GetAt(fetching->NextToRead()).pair;
    fileKind = kind;
    if (kind == 2 || pairs[static_cast<size_t>(pair)].names[kind].empty()) {
        fetching->openPair = pair;
        return ReadWalkFrame();
    }
    return Open(PathOf(pair, kind).c_str(), &DecodeSynetics::OnChannelFileOpened, "Synetics Open failed\n");
}

DecoderAction DecodeSynetics::OnChannelFileOpened(int32_t newFileId, uint64_t) {
    fetching->fileIds[fileKind] = newFileId;
    return OpenChannelFile(static_cast<uint8_t>(fileKind + 1));
}

bool DecodeSynetics::GetImage(int32_t bufferSize, uint8_t* buffer) {
    const SyneticsFrameItem* frame = frames.RecordAt(currentFrame);
    return frame != nullptr && frame->camera.number < channels.size() &&
           channels[frame->camera.number]->GetImage(bufferSize, buffer);
}

// ---- times ----

// The recorder's local times, with the daylight state of its zone at each.
FrameTimes DecodeSynetics::GetFrameTimes() {
    FrameTimes times = TimesOfFrame(frames.GetAt(currentFrame));
    bool enabled = false;
    times.zoneBias = zoneRules.GetOffset(times.recordedTime, &enabled);
    times.zoneKnown = enabled ? 1 : 0;
    return times;
}

} // namespace Vorn::Vorncast::Decoders
