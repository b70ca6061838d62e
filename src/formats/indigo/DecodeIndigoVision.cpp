#include "formats/indigo/DecodeIndigoVision.h"

#include "codecs/video/IppDecoderH264.h"
#include "codecs/video/IppDecoderMPEG4.h"
#include "codecs/video/VideoEngine.h"
#include "core/binary/DecimalText.h"
#include "core/time/Ticks.h"
#include "formats/shared/FrameListQueries.h"
#include "formats/shared/MergeByTime.h"
#include "model/support/Path.h"

#include <tinyxml2.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace Vorn::Vorncast::Decoders {

namespace {

using namespace std::string_view_literals;

constexpr uint64_t MaxIncidentBytes = 16384;
constexpr uint64_t MaxSitesBytes = 1048576;
constexpr uint32_t RecordReadSize = 512;
constexpr size_t ProbeOffset = 36;
constexpr size_t ProbeSize = 512;
constexpr size_t ZoneOffset = 112;
constexpr uint8_t UndecodedFill = 0x8F;
constexpr const char* OpenFailure =
    "DecodeIndigoVision::LoadingOpenComplete failed with bad fileId or fileSize\n";
constexpr const char* ReadFailure = "DecodeIndigoVision::LoadingReadComplete failed with bad result\n";

// The extension of a path, lower case, without its point.
std::string ExtensionOf(std::string_view path) {
    size_t point = path.find_last_of('.');
    size_t separator = path.find_last_of("/\\");
    if (point == std::string_view::npos || (separator != std::string_view::npos && point < separator)) {
        return "";
    }
    std::string extension(path.substr(point + 1));
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return extension;
}

bool IsFootage(std::string_view path) {
    std::string extension = ExtensionOf(path);
    return extension == "mp4" || extension == "vmf";
}

// The name of a path without its folder and extension.
std::string BaseNameOf(std::string_view path) {
    size_t separator = path.find_last_of("/\\");
    std::string_view name = separator == std::string_view::npos ? path : path.substr(separator + 1);
    return std::string(name.substr(0, name.find_last_of('.')));
}

// The folder `levels` steps above a path, without its final separator.
std::string FolderAbove(std::string_view path, int levels) {
    size_t end = path.size();
    for (int level = 0; level < levels && end != std::string_view::npos && end > 0; ++level) {
        end = path.find_last_of("/\\", end - 1);
    }
    return end == std::string_view::npos ? std::string() : std::string(path.substr(0, end));
}

int SeparatorCount(std::string_view path) {
    return static_cast<int>(std::count_if(path.begin(), path.end(), Path::IsSeparator));
}

std::string Joined(const std::string& folder, const std::string& name) {
    return folder + "/" + name;
}

bool SameZone(const TimeZoneInformation& a, const TimeZoneInformation& b) {
    return a.Bias == b.Bias && a.DaylightBias == b.DaylightBias && a.StandardBias == b.StandardBias &&
           std::memcmp(&a.StandardDate, &b.StandardDate, sizeof a.StandardDate) == 0 &&
           std::memcmp(&a.DaylightDate, &b.DaylightDate, sizeof a.DaylightDate) == 0;
}

// A value of a "Camera" element: its attribute, or the text of its child element.
const char* CameraValue(const tinyxml2::XMLElement& camera, const char* name) {
    if (const char* attribute = camera.Attribute(name)) {
        return attribute;
    }
    const tinyxml2::XMLElement* child = camera.FirstChildElement(name);
    return child != nullptr && child->GetText() != nullptr ? child->GetText() : "";
}

// Calls `visit` for every element of the document, at any depth.
template <class Visit> void VisitElements(const tinyxml2::XMLElement* element, Visit& visit) {
    for (; element != nullptr; element = element->NextSiblingElement()) {
        visit(*element);
        VisitElements(element->FirstChildElement(), visit);
    }
}

} // namespace

struct DecodeIndigoVision::Channel {
    IndigoVisionFrameInfoList frames; // during the load only
    std::unique_ptr<IppDecoder> decoder;
    std::vector<uint8_t> picture;
    std::vector<uint8_t> probe; // the start of the first video frame
    std::vector<int32_t> keyFrames;
    CameraTag camera = {};
    int32_t zone = -1;
    int32_t lastDecodedFrame = -1;
    int32_t nextFrameToDecode = -1;
    VideoCodec codec = VideoCodec::Mpeg4;
    int32_t fileId = -1;
    bool frameReady = false;
};

DecodeIndigoVision::DecodeIndigoVision(const DecoderRow& row) : FormatDecoder(row) {}

DecodeIndigoVision::~DecodeIndigoVision() = default;

void DecodeIndigoVision::ForgetRecording() {
    frames.Clear();
    channels.clear();
    footage.clear();
    timeZones.clear();
    zoneRules.clear();
    std::memset(cameraTable, 0, sizeof cameraTable);
    std::memset(camerasMet, 0, sizeof camerasMet);
    directory.clear();
    incidentName.clear();
    siteFolder.clear();
    footageFolder.clear();
    incidentLoaded = false;
    footageIndex = 0;
    fileId = -1;
    fileSize = 0;
    vsesSearchPosition = 0;
    readOffset = 0;
    currentChannel = 0;
}

// ---- query: by extension, and a ".mp4" by its tag ----

DecoderAction DecodeIndigoVision::QueryingCore() {
    std::string extension = ExtensionOf(loadName);
    queryConfidence = extension == "vmf" || extension == "ivi" ? 80 : 0;
    return extension == "mp4" ? Open(loadName, &DecodeIndigoVision::OnQueryOpened, nullptr) : DDA_COMPLETE;
}

DecoderAction DecodeIndigoVision::OnQueryOpened(int32_t newFileId, uint64_t newFileSize) {
    if (newFileId == -1) {
        return DDA_COMPLETE;
    }
    fileId = newFileId;
    if (newFileSize < 20) {
        return Close(fileId, &DecodeIndigoVision::OnQueryClosed);
    }
    return Read(fileId, 16, 4, &DecodeIndigoVision::OnQueryTag, nullptr);
}

DecoderAction DecodeIndigoVision::OnQueryTag(ByteView tag) {
    queryConfidence = tag.Matches(0, "VSES") ? 100 : 0;
    return Close(fileId, &DecodeIndigoVision::OnQueryClosed);
}

// ---- loading: the incident, its camera list and footage folder, or footage named directly ----

DecoderAction DecodeIndigoVision::LoadingCore() {
    Reset();
    ReportProgress(0.0);
    std::string_view path(loadName);
    std::string extension = ExtensionOf(path);
    if (extension == "ivi") {
        directory = FolderAbove(path, 1);
        incidentName = path.substr(path.find_last_of("/\\") + 1);
        return OpenIncident();
    }
    // Footage lies one folder below the incident.
    directory = FolderAbove(path, SeparatorCount(path) >= 3 ? 2 : 1);
    if (extension == "mp4" || extension == "m4v") {
        return Open(loadName, &DecodeIndigoVision::OnDirectOpened, OpenFailure);
    }
    if (extension == "vmf") {
        return FindIncident();
    }
    return Fail(
        "DecodeIndigoVision failing in LoadingCore because loadName has invalid or missing extension\n");
}

// A ".mp4" named directly must carry its tag at 0x10 or 0x20.
DecoderAction DecodeIndigoVision::OnDirectOpened(int32_t newFileId, uint64_t) {
    fileId = newFileId;
    return Read(fileId, 0, 64, &DecodeIndigoVision::OnDirectHead, ReadFailure);
}

DecoderAction DecodeIndigoVision::OnDirectHead(ByteView head) {
    if (!head.Matches(0x10, "VSES") && !head.Matches(0x20, "VSES")) {
        return Fail(
            "DecodeIndigoVision::LoadingReadComplete cannot handle MP4 files without VSES tag at 0x10 or "
            "0x20\n");
    }
    return Close(fileId, &DecodeIndigoVision::OnDirectClosed);
}

DecoderAction DecodeIndigoVision::OnDirectClosed(int32_t) {
    return FindIncident();
}

DecoderAction DecodeIndigoVision::FindIncident() {
    return ListFiles(directory.c_str(), "*.ivi", 0, &DecodeIndigoVision::OnIncidentsListed);
}

// Exactly one incident in the folder above the footage makes it an incident; anything else
// loads the named file alone.
DecoderAction DecodeIndigoVision::OnIncidentsListed(bool ok, FileList& listed) {
    if (ok && listed.Count() == 1) {
        incidentName = listed.GetAt(0);
        return OpenIncident();
    }
    Log(LogEvent,
        "DecodeIndigoVision LoadingFileListComplete FIND_IVI found no files. Attempting direct load.\n");
    footage = {loadName};
    return OpenNextFootage(0);
}

DecoderAction DecodeIndigoVision::OpenIncident() {
    return Open(Joined(directory, incidentName).c_str(), &DecodeIndigoVision::OnIncidentOpened, OpenFailure);
}

DecoderAction DecodeIndigoVision::OnIncidentOpened(int32_t newFileId, uint64_t newFileSize) {
    if (newFileSize > MaxIncidentBytes) {
        return Fail(
            "DecodeIndigoVision::LoadingOpenComplete failing because ivi file is unexpectedly large\n");
    }
    fileId = newFileId;
    return Read(fileId, 0, static_cast<uint32_t>(newFileSize), &DecodeIndigoVision::OnIncident, ReadFailure);
}

// Two "key = value" lines: the folder of the camera list and the footage folder.
DecoderAction DecodeIndigoVision::OnIncident(ByteView text) {
    std::string lines(reinterpret_cast<const char*>(text.Data()), text.Size());
    char keys[2][MaxPathLength], values[2][MaxPathLength];
    if (std::sscanf(lines.c_str(), "%260s = %260s\r\n%260s = %260s\r\n", keys[0], values[0], keys[1],
                    values[1]) != 4) {
        return Fail(
            "DecodeIndigoVision::LoadingReadComplete failing with incorrect number a fields, parsing ivi\n");
    }
    siteFolder = values[0];
    footageFolder = values[1];
    incidentLoaded = true;
    return Close(fileId, &DecodeIndigoVision::OnIncidentClosed);
}

DecoderAction DecodeIndigoVision::OnIncidentClosed(int32_t) {
    return Open(Joined(Joined(directory, siteFolder), "sites.vdb").c_str(),
                &DecodeIndigoVision::OnSitesOpened, OpenFailure);
}

DecoderAction DecodeIndigoVision::OnSitesOpened(int32_t newFileId, uint64_t newFileSize) {
    if (newFileSize > MaxSitesBytes) {
        return Fail(
            "DecodeIndigoVision::LoadingOpenComplete failing because PARSE_INCIDENT_DB file is unexpectedly "
            "large\n");
    }
    fileId = newFileId;
    return Read(fileId, 0, static_cast<uint32_t>(newFileSize), &DecodeIndigoVision::OnSites, ReadFailure);
}

// Every "Camera" element, at any depth, names the camera of its number.
DecoderAction DecodeIndigoVision::OnSites(ByteView xml) {
    tinyxml2::XMLDocument document;
    document.Parse(reinterpret_cast<const char*>(xml.Data()), xml.Size());
    auto readCamera = [this](const tinyxml2::XMLElement& element) {
        if (std::strcmp(element.Name(), "Camera") != 0) {
            return;
        }
        int64_t number = -1, useLocal = 0;
        ParseDecimal(CameraValue(element, "UseLocalName"), &useLocal);
        if (!ParseDecimal(CameraValue(element, "Number"), &number) || number < 0 || number >= MaxCameras) {
            return;
        }
        CameraTag& camera = cameraTable[number];
        camera.number = static_cast<uint16_t>(number);
        std::snprintf(camera.name, sizeof camera.name, "%s",
                      CameraValue(element, useLocal ? "LocalName" : "Name"));
    };
    VisitElements(document.RootElement(), readCamera);
    return Close(fileId, &DecodeIndigoVision::OnSitesClosed);
}

DecoderAction DecodeIndigoVision::OnSitesClosed(int32_t) {
    return ListFiles(Joined(directory, footageFolder).c_str(), "*.*", 0,
                     &DecodeIndigoVision::OnFootageListed);
}

DecoderAction DecodeIndigoVision::OnFootageListed(bool ok, FileList& listed) {
    for (auto* node = ok ? listed.Head() : nullptr; node != nullptr; node = node->next) {
        footage.emplace_back(node->item->path);
    }
    if (std::none_of(footage.begin(), footage.end(),
                     [](const std::string& name) { return IsFootage(name); })) {
        return Fail(
            "DecodeIndigoVision LoadingFileListComplete failing due to list of footage files with no mp4 or "
            "vmf files\n");
    }
    return OpenNextFootage(0);
}

// ---- each footage file: its tag, then its records ----

std::string DecodeIndigoVision::FootagePath(const std::string& name) const {
    return incidentLoaded ? Joined(Joined(directory, footageFolder), name) : name;
}

// With an incident, the camera whose name begins the file's name; without one, the file's name.
void DecodeIndigoVision::NameChannel(Channel& channel, const std::string& name) const {
    std::string base = BaseNameOf(name);
    if (!incidentLoaded) {
        std::snprintf(channel.camera.name, sizeof channel.camera.name, "%s", base.c_str());
        return;
    }
    for (const CameraTag& camera : cameraTable) {
        size_t length = std::min(std::strlen(camera.name), base.size());
        if (length > 0 && base.compare(0, length, camera.name, length) == 0) {
            channel.camera = camera;
            return;
        }
    }
}

DecoderAction DecodeIndigoVision::OpenNextFootage(size_t from) {
    auto next = std::find_if(footage.begin() + static_cast<long>(std::min(from, footage.size())),
                             footage.end(), [](const std::string& name) { return IsFootage(name); });
    if (next == footage.end()) {
        return FinishLoad();
    }
    footageIndex = static_cast<size_t>(next - footage.begin());
    std::string path = FootagePath(*next);
    if (path.size() >= MaxPathLength) {
        Log(LogCore, "DecodeIndigoVision::LoadingGetOpenName footageFileList entry filename wrong size\n");
        path.clear();
    }
    channels.push_back(std::make_unique<Channel>());
    NameChannel(*channels.back(), *next);
    return Open(path.c_str(), &DecodeIndigoVision::OnFootageOpened, OpenFailure);
}

DecoderAction DecodeIndigoVision::OnFootageOpened(int32_t newFileId, uint64_t newFileSize) {
    fileId = newFileId;
    channels.back()->fileId = newFileId;
    fileSize = newFileSize;
    vsesSearchPosition = 0;
    return SearchTag();
}

// One read a byte: the tag lies near the start of the file.
DecoderAction DecodeIndigoVision::SearchTag() {
    return Read(fileId, vsesSearchPosition, 4, &DecodeIndigoVision::OnTagCandidate, ReadFailure);
}

DecoderAction DecodeIndigoVision::OnTagCandidate(ByteView bytes) {
    if (!bytes.Matches(0, "VSES")) {
        ++vsesSearchPosition;
        return SearchTag();
    }
    readOffset = vsesSearchPosition;
    vsesSearchPosition = 0;
    return ReadRecord();
}

DecoderAction DecodeIndigoVision::ReadRecord() {
    double files = static_cast<double>(footage.size());
    ReportProgress(((footageIndex + 1) / files + static_cast<double>(readOffset) / fileSize / files) * 0.5);
    return Read(fileId, readOffset, RecordReadSize, &DecodeIndigoVision::OnRecord, ReadFailure);
}

// The records of the last 512 bytes of a file are not read, so that no read passes its end.
DecoderAction DecodeIndigoVision::OnRecord(ByteView record) {
    if (record.Matches(0, "VSMP")) {
        AddFrame(record);
    } else if (record.Matches(0, "VUSR")) {
        AddZone(record);
    }
    uint32_t length = record.U32LE(4);
    readOffset += length;
    // A record of no length would be read for ever: it ends the chain.
    return length != 0 && readOffset + RecordReadSize < fileSize ? ReadRecord() : FinishChannel();
}

// Media record: its length, the length of its head, the time in milliseconds since 1970 and flags.
void DecodeIndigoVision::AddFrame(ByteView record) {
    ByteReader r(record, 4);
    uint32_t length = r.U32LE();
    r.Skip(4); // not read
    uint32_t headLength = r.U32LE();
    uint64_t milliseconds = r.U64LE();
    uint8_t content = r.U8();
    r.Skip(1); // not read
    uint8_t frameFlags = r.U8();
    if (length - headLength == 0 || (content & 2) == 0) {
        return;
    }
    Channel& channel = *channels.back();
    IndigoVisionFrameInfo frame{};
    frame.recordedTime = TicksFromUnixMilliseconds(milliseconds);
    frame.streamTime = frame.recordedTime;
    frame.offset = readOffset + headLength;
    frame.size = length - headLength;
    frame.camera = channel.camera;
    frame.channel = static_cast<int32_t>(channels.size() - 1);
    frame.isKeyFrame = (frameFlags & 1) != 0;
    channel.frames.Append(frame);
    if (channel.probe.empty()) {
        ByteView start = record.Sub(ProbeOffset, ProbeSize);
        channel.probe.assign(start.begin(), start.end());
        channel.probe.resize(ProbeSize, 0);
    }
}

// User record: the recorder's time zone; each distinct zone is kept once.
void DecodeIndigoVision::AddZone(ByteView record) {
    TimeZoneInformation zone{};
    if (!ReadTimeZoneInformation(record, ZoneOffset, &zone)) {
        return;
    }
    auto known = std::find_if(timeZones.begin(), timeZones.end(),
                              [&](const TimeZoneInformation& other) { return SameZone(zone, other); });
    channels.back()->zone = static_cast<int32_t>(known - timeZones.begin());
    if (known == timeZones.end()) {
        timeZones.push_back(zone);
    }
}

// The first video frame's start names the codec and carries its configuration. The records hold
// no picture size: the whole first frame is read for it.
DecoderAction DecodeIndigoVision::FinishChannel() {
    Channel& channel = *channels.back();
    ByteView probe(channel.probe.data(), channel.probe.size());
    if (probe.Matches(0, "\x00\x00\x01\x00"sv)) {
        channel.decoder = std::make_unique<IppDecoderMPEG4>();
        channel.codec = VideoCodec::Mpeg4;
    } else if (probe.Matches(0, "\x00\x00\x00\x01"sv) || probe.Matches(0, "\x00\x00\x00\x0A"sv)) {
        channel.decoder = std::make_unique<IppDecoderH264>();
        channel.codec = VideoCodec::H264;
    } else {
        return Fail("DecodeIndigoVisoin::LoadingReadComplete failed to identify compression type\n");
    }
    IndigoVisionFrameInfo first = channel.frames.GetAt(0);
    return Read(fileId, first.offset, first.size, &DecodeIndigoVision::OnChannelFirstFrame, ReadFailure);
}

DecoderAction DecodeIndigoVision::OnChannelFirstFrame(ByteView frame) {
    Channel& channel = *channels.back();
    int32_t width = 0, height = 0;
    ProbePictureSize(channel.codec, frame, &width, &height);
    if (!channel.decoder->Initialise(width, height, 3, false, channel.probe.data(),
                                     static_cast<int32_t>(channel.probe.size()))) {
        return Fail("DecodeIndigoVision::LoadFirstFrame failed to initialise decompressor\n");
    }
    channel.picture.assign(static_cast<size_t>(width) * static_cast<size_t>(height) * 3, UndecodedFill);
    return OpenNextFootage(footageIndex + 1);
}

// The channels' frames merged by time; each channel then knows its key frames in the merged list.
DecoderAction DecodeIndigoVision::FinishLoad() {
    std::vector<IndigoVisionFrameInfoList*> lists;
    for (auto& channel : channels) {
        lists.push_back(&channel->frames);
    }
    MergeByLowestTime(lists, [this](const IndigoVisionFrameInfo& frame, size_t) { frames.Append(frame); });
    for (auto& channel : channels) {
        channel->frames.Clear();
    }
    totalFrames = frames.Count();
    if (totalFrames == 0) {
        return Fail("DecodeIndigoVision No images in file\n");
    }
    int32_t index = 0;
    for (const IndigoVisionFrameInfo& frame : frames) {
        camerasMet[frame.camera.number % MaxCameras] = true;
        if (frame.isKeyFrame) {
            channels[static_cast<size_t>(frame.channel)]->keyFrames.push_back(index);
        }
        ++index;
    }
    const IppDecoder& first = *channels[static_cast<size_t>(frames.GetAt(0).channel)]->decoder;
    SetImageFormat(first.GetWidth(), first.GetHeight(), aspectX, aspectY, true, totalFrames);
    SetUpZones();
    ReportProgress(1.0);
    return DDA_COMPLETE;
}

// One zone helper for each distinct zone, over the span of the recording.
void DecodeIndigoVision::SetUpZones() {
    int64_t first = frames.GetFirstTime();
    int64_t last = frames.GetLastTime();
    for (const TimeZoneInformation& zone : timeZones) {
        zoneRules.emplace_back();
        zoneRules.back().Build(first, last, zone);
    }
    if (frames.GetAt(0).recordedTime == 0) {
        SetTimeSpan(FrameTimes{}, FrameTimes{});
        return;
    }
    int32_t savedFrame = currentFrame;
    currentFrame = 0;
    FrameTimes start = GetFrameTimes();
    currentFrame = totalFrames - 1;
    FrameTimes end = GetFrameTimes();
    currentFrame = savedFrame;
    SetTimeSpan(start, end);
}

// ---- fetching a frame: a walk in its channel from the key frame before it ----

DecoderAction DecodeIndigoVision::PositioningCore() {
    currentChannel = frames.GetAt(currentFrame).channel;
    return DDA_COMPLETE;
}

DecoderAction DecodeIndigoVision::DecompressingCore() {
    if (currentFrame < 0 || currentFrame >= totalFrames) {
        return Fail("DecodeIndigoVision::DecompressingCore failed with bad frame %d\n", currentFrame);
    }
    Channel& channel = *channels[static_cast<size_t>(currentChannel)];
    if (channel.lastDecodedFrame == currentFrame) {
        return DDA_COMPLETE;
    }
    auto after = std::upper_bound(channel.keyFrames.begin(), channel.keyFrames.end(), currentFrame);
    if (after == channel.keyFrames.end()) {
        Log(LogCore, "DecodeIndigoVision::DecompressingCore Could not find I Frame for frame %d!\n",
            currentFrame);
    }
    int32_t keyFrame = after == channel.keyFrames.begin() ? currentFrame : *(after - 1);
    if (channel.lastDecodedFrame >= keyFrame && channel.lastDecodedFrame < currentFrame) {
        channel.nextFrameToDecode = NextFrameOfChannel(frames, channel.lastDecodedFrame, currentChannel);
    } else {
        channel.decoder->Reset();
        channel.nextFrameToDecode = keyFrame;
    }
    return ReadWalkFrame();
}

DecoderAction DecodeIndigoVision::ReadWalkFrame() {
    const IndigoVisionFrameInfo* frame =
        frames.RecordAt(channels[static_cast<size_t>(currentChannel)]->nextFrameToDecode);
    if (frame == nullptr) {
        Log(LogCore, "DecompressingGetReadParameters got null frameInfo for frame %d. Expect failure soon.\n",
            currentFrame);
        return TryRead(-1, 0, 0, &DecodeIndigoVision::OnWalkFrame);
    }
    return TryRead(channels[static_cast<size_t>(frame->channel)]->fileId, frame->offset, frame->size,
                   &DecodeIndigoVision::OnWalkFrame);
}

// A decode that fails zeroes the picture; one that wants more data goes on to the channel's next
// frame, and only the frame asked for makes a picture. A failed read leaves the frame without one.
DecoderAction DecodeIndigoVision::OnWalkFrame(bool ok, ByteView frame) {
    Channel& channel = *channels[static_cast<size_t>(currentChannel)];
    channel.frameReady = false;
    if (!ok) {
        Log(LogCore, "DecodeIndigoVision::DecompressingReadComplete failed while reading\n");
        return DDA_COMPLETE;
    }
    const auto size = static_cast<int32_t>(frame.Size());
    const bool target = channel.nextFrameToDecode == currentFrame;
    const bool taken = target ? channel.decoder->Decode(frame.Data(), size, channel.picture.data(),
                                                        static_cast<int32_t>(channel.picture.size()))
                              : channel.decoder->DecodeSkippingPicture(frame.Data(), size);
    if (!taken) {
        std::fill(channel.picture.begin(), channel.picture.end(), 0);
        return DDA_COMPLETE;
    }
    // Frames on the way make no picture; the one asked for may be held back for more data.
    if (!target || channel.decoder->HasNewPicture()) {
        channel.lastDecodedFrame = channel.nextFrameToDecode;
        if (target) {
            channel.frameReady = true;
            return DDA_COMPLETE;
        }
    }
    channel.nextFrameToDecode = NextFrameOfChannel(frames, channel.nextFrameToDecode, currentChannel);
    return channel.nextFrameToDecode < 0 ? DDA_COMPLETE : ReadWalkFrame();
}

bool DecodeIndigoVision::GetImage(int32_t bufferSize, uint8_t* buffer) {
    if (currentChannel < 0 || static_cast<size_t>(currentChannel) >= channels.size() ||
        !channels[static_cast<size_t>(currentChannel)]->frameReady || buffer == nullptr) {
        return false;
    }
    const std::vector<uint8_t>& picture = channels[static_cast<size_t>(currentChannel)]->picture;
    std::memcpy(buffer, picture.data(),
                std::min(picture.size(), static_cast<size_t>(std::max(bufferSize, 0))));
    return true;
}

// ---- frames, times and cameras ----

// The recorder's stamps as they stand, with the zone words of the frame's channel.
FrameTimes DecodeIndigoVision::GetFrameTimes() {
    IndigoVisionFrameInfo frame = frames.GetAt(currentFrame);
    FrameTimes times = TimesOfFrame(frame);
    const Channel* channel = frame.channel >= 0 && static_cast<size_t>(frame.channel) < channels.size()
                                 ? channels[static_cast<size_t>(frame.channel)].get()
                                 : nullptr;
    if (channel != nullptr && channel->zone >= 0) {
        bool enabled = false;
        times.zoneBias =
            zoneRules[static_cast<size_t>(channel->zone)].GetOffset(times.recordedTime, &enabled);
        times.zoneKnown = enabled ? 1 : 0;
    }
    return times;
}

int32_t DecodeIndigoVision::GetPreviousFrame(int32_t frame, int32_t camera) {
    return PreviousFrameOfCamera(frames, frame, camera);
}

int32_t DecodeIndigoVision::GetNextFrame(int32_t frame, int32_t camera) {
    return NextFrameOfCamera(frames, frame, camera);
}

void DecodeIndigoVision::GetCameras(uint8_t* mask) {
    if (!incidentLoaded) {
        FormatDecoder::GetCameras(mask);
        return;
    }
    std::memset(mask, 0, CameraMaskBytes);
    for (int32_t number = 0; number < MaxCameras; ++number) {
        mask[number / 8] |= camerasMet[number] ? static_cast<uint8_t>(1u << (number % 8)) : 0;
    }
}

} // namespace Vorn::Vorncast::Decoders
