#include "formats/uvms/DecodeUVMS.h"

#include "model/support/LogLevels.h"
#include "model/support/Path.h"

#include "core/time/Ticks.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr uint64_t MaxConfigBytes = 1048576;
constexpr uint32_t FileHeaderSize = 112;
constexpr uint32_t IndexRecordSize = 32;
constexpr uint32_t ImageHeaderSize = 224;
constexpr uint32_t ImageHeaderRead = 256;
constexpr uint32_t JpegMark = 0xFFD8FFE0;
constexpr uint32_t PackMark = 0x000001BA;

size_t LastSeparator(const std::string& path) {
    for (size_t at = path.size(); at-- > 0;) {
        if (Path::IsSeparator(path[at])) {
            return at;
        }
    }
    return std::string::npos;
}

// Cuts the last part of `path`; false when there is no separator left.
bool CutLast(std::string* path, std::string* part) {
    const size_t separator = LastSeparator(*path);
    if (separator == std::string::npos) {
        return false;
    }
    *part = path->substr(separator + 1);
    path->resize(separator);
    return true;
}

bool SameIgnoringCase(const std::string& a, const char* b) {
    return ComparePathsIgnoringCase(a.c_str(), b) == 0;
}

// Media files have no extension, as a "*." listing finds them on the recorder's file system.
bool HasNoExtension(const char* path) {
    std::string name(path);
    const size_t separator = LastSeparator(name);
    return name.find('.', separator == std::string::npos ? 0 : separator + 1) == std::string::npos;
}

PictureKind KindOfIndexWord(uint16_t kind) {
    if (kind == 0xFFFF) {
        return PictureKind::I;
    }
    return (kind >> 8) == 0xFF ? PictureKind::P : PictureKind::B;
}

} // namespace

UVMSInputChannel& UVMSTables::ChannelOfInput(uint32_t inputNumber) {
    for (auto& channel : channels) {
        if (channel->inputNumber == inputNumber) {
            return *channel;
        }
    }
    auto channel = std::make_unique<UVMSInputChannel>();
    channel->inputNumber = inputNumber;
    channel->camera.number = static_cast<uint16_t>(channels.size() + 1);
    const InputChannelData* configured = config.ChannelOfInput(static_cast<int32_t>(inputNumber));
    std::snprintf(channel->camera.name, sizeof channel->camera.name,
                  configured ? "Input Number: %u, %s" : "Input Number: %u", inputNumber,
                  configured ? configured->name : "");
    channels.push_back(std::move(channel));
    return *channels.back();
}

DecodeUVMSDelegate::DecodeUVMSDelegate(DecodeUVMS& uvms, UVMSTables& tables)
    : LoadingDelegate(uvms, "DecodeUVMSDelegate"), uvms(uvms), tables(tables) {}

DecoderAction DecodeUVMSDelegate::StartNext(int32_t stage) {
    Progress(1.0);
    return uvms.StartLoadingDelegate(stage, nullptr);
}

// ---- 1: the configuration and the media root ----

void UVMSLoadingDelegateReadingChannelInfo::Reset() {
    url.clear();
    root.clear();
    urlDirectory.clear();
    wantedDirectory.clear();
    openPath.clear();
    text.clear();
    openedByOcf = false;
    found.Clear();
    nextFound = 0;
    textSize = 0;
}

// An ".ocf" names its root, the folder above its own. A media file names the media directory it
// lies in, above its two levels of numbered folders; the configuration that names that directory
// is looked for among the root's ".ocf" files.
DecoderAction UVMSLoadingDelegateReadingChannelInfo::Start(const char* loadPath) {
    Reset();
    url = loadPath;
    urlDirectory = url;
    std::string name, part;
    if (!CutLast(&urlDirectory, &name)) {
        return Fail("UVMSLoadingDelegateReadingChannelInfo List root without directory separator\n");
    }
    const size_t dot = name.rfind('.');
    if (dot != std::string::npos) {
        if (!SameIgnoringCase(name.substr(dot + 1), "ocf")) {
            return Fail("UVMSLoadingDelegateReadingChannelInfo Not an ocf file\n");
        }
        root = urlDirectory;
        if (!CutLast(&root, &part)) {
            return Fail("UVMSLoadingDelegateReadingChannelInfo No directory separator found\n");
        }
        openedByOcf = true;
        openPath = url;
        return DDA_OPEN;
    }
    root = urlDirectory;
    if (!CutLast(&root, &part) || !CutLast(&root, &part) || !CutLast(&root, &wantedDirectory) ||
        root.empty()) {
        return WithoutConfiguration();
    }
    return DDA_LIST_FILES;
}

// The configurations lie in a folder of the root.
void UVMSLoadingDelegateReadingChannelInfo::GetListPath(char* directory, char* mask, int32_t* depth) {
    std::snprintf(directory, MaxPathLength, "%s/", root.c_str());
    std::snprintf(mask, MaxPathLength, "*.ocf");
    *depth = 1;
}

DecoderAction UVMSLoadingDelegateReadingChannelInfo::FileListComplete(bool ok, FileList& files) {
    if (!ok) {
        return Fail("UVMSLoadingDelegateReadingChannelInfo File list failed\n");
    }
    found.Clear();
    for (int32_t index = 0; index < files.Count(); ++index) {
        found.Add(files.GetAt(index));
    }
    if (found.Count() == 0) {
        return WithoutConfiguration();
    }
    openPath = root + "/" + found.GetAt(0);
    return DDA_OPEN;
}

DecoderAction UVMSLoadingDelegateReadingChannelInfo::WithoutConfiguration() {
    tables.config.Clear();
    tables.mediaRoot = urlDirectory + "/";
    return StartNext(2);
}

void UVMSLoadingDelegateReadingChannelInfo::GetOpenName(char* name) {
    std::snprintf(name, MaxPathLength, "%s", openPath.c_str());
}

DecoderAction UVMSLoadingDelegateReadingChannelInfo::OpenComplete(int32_t, uint64_t fileSize) {
    if (fileSize > MaxConfigBytes) {
        return Fail("DecodeUVMS channel info file is larger than 1MB (%d)\n", static_cast<int>(fileSize));
    }
    textSize = static_cast<uint32_t>(fileSize);
    text.clear();
    return textSize == 0 ? DDA_CLOSE : DDA_READ;
}

void UVMSLoadingDelegateReadingChannelInfo::GetReadParameters(uint64_t* offset, uint32_t* size) {
    *offset = 0;
    *size = textSize;
}

DecoderAction UVMSLoadingDelegateReadingChannelInfo::ReadComplete(ByteView bytes) {
    text.assign(reinterpret_cast<const char*>(bytes.Data()), bytes.Size());
    return DDA_CLOSE;
}

DecoderAction UVMSLoadingDelegateReadingChannelInfo::CloseComplete(int32_t) {
    ParseUVMSConfig(text, &tables.config);
    if (openedByOcf || SameIgnoringCase(wantedDirectory, tables.config.dir)) {
        tables.mediaRoot = root + "/" + tables.config.dir + "/";
        return StartNext(2);
    }
    if (++nextFound < found.Count()) {
        openPath = root + "/" + found.GetAt(nextFound);
        return DDA_OPEN;
    }
    return WithoutConfiguration();
}

// ---- 2: the header of every media file ----

DecoderAction UVMSLoadingDelegateReadingFileHeaders::Start(const char*) {
    Reset();
    tables.mediaFiles.clear();
    return DDA_LIST_FILES;
}

void UVMSLoadingDelegateReadingFileHeaders::GetListPath(char* directory, char* mask, int32_t* depth) {
    std::snprintf(directory, MaxPathLength, "%s", tables.mediaRoot.c_str());
    std::snprintf(mask, MaxPathLength, "*.");
    *depth = 2;
}

DecoderAction UVMSLoadingDelegateReadingFileHeaders::FileListComplete(bool ok, FileList& files) {
    for (int32_t index = 0; ok && index < files.Count(); ++index) {
        if (HasNoExtension(files.GetAt(index))) {
            tables.mediaFiles.emplace_back(files.GetAt(index));
        }
    }
    if (tables.mediaFiles.empty()) {
        return Fail("DecodeUVMS:  No image files\n");
    }
    return DDA_OPEN;
}

void UVMSLoadingDelegateReadingFileHeaders::GetOpenName(char* name) {
    std::snprintf(name, MaxPathLength, "%s%s", tables.mediaRoot.c_str(), tables.mediaFiles[current].c_str());
}

DecoderAction UVMSLoadingDelegateReadingFileHeaders::OpenComplete(int32_t, uint64_t size) {
    fileSize = size;
    return DDA_READ;
}

void UVMSLoadingDelegateReadingFileHeaders::GetReadParameters(uint64_t* offset, uint32_t* size) {
    *offset = 0;
    *size = FileHeaderSize;
}

DecoderAction UVMSLoadingDelegateReadingFileHeaders::ReadComplete(ByteView bytes) {
    ByteReader r(bytes);
    UVMSChannelFile file;
    r.Skip(12); // not read
    file.inputNumber = r.U32LE();
    file.firstImage = r.U32LE();
    r.Skip(12); // not read
    file.lastImage = r.U32LE();
    r.Skip(52); // not read
    file.indexOffset = r.U32LE();
    r.Skip(4); // not read
    r.Skip(4); // kept by the recorder, not used
    file.mediaPosition = static_cast<int32_t>(current);
    file.fileSize = fileSize;
    tables.ChannelOfInput(file.inputNumber).files.push_back(file);
    return DDA_CLOSE;
}

DecoderAction UVMSLoadingDelegateReadingFileHeaders::CloseComplete(int32_t) {
    ++current;
    Progress(static_cast<double>(current) / static_cast<double>(tables.mediaFiles.size()));
    return current < tables.mediaFiles.size() ? DDA_OPEN : StartNext(3);
}

// ---- 3: the image index of each file of each channel ----

DecoderAction UVMSLoadingDelegateReadingImageIndices::Start(const char*) {
    Reset();
    return Settle() ? DDA_OPEN : StartNext(4);
}

// Files whose index does not lie inside them are passed over.
bool UVMSLoadingDelegateReadingImageIndices::Settle() {
    for (; channel < tables.channels.size(); ++channel, file = 0) {
        for (const auto& files = tables.channels[channel]->files; file < files.size(); ++file) {
            const UVMSChannelFile& entry = files[file];
            const uint64_t records = uint64_t{entry.lastImage} - entry.firstImage + 1;
            if (entry.lastImage >= entry.firstImage &&
                entry.indexOffset + records * IndexRecordSize <= entry.fileSize) {
                return true;
            }
        }
    }
    return false;
}

void UVMSLoadingDelegateReadingImageIndices::GetOpenName(char* name) {
    const UVMSChannelFile& entry = tables.channels[channel]->files[file];
    std::snprintf(name, MaxPathLength, "%s%s", tables.mediaRoot.c_str(),
                  tables.mediaFiles[static_cast<size_t>(entry.mediaPosition)].c_str());
}

void UVMSLoadingDelegateReadingImageIndices::GetReadParameters(uint64_t* offset, uint32_t* size) {
    const UVMSChannelFile& entry = tables.channels[channel]->files[file];
    *offset = entry.indexOffset;
    *size = (entry.lastImage - entry.firstImage + 1) * IndexRecordSize;
}

DecoderAction UVMSLoadingDelegateReadingImageIndices::ReadComplete(ByteView bytes) {
    UVMSInputChannel& owner = *tables.channels[channel];
    const UVMSChannelFile entry = owner.files[file];
    for (uint32_t index = 0; (index + 1) * size_t{IndexRecordSize} <= bytes.Size(); ++index) {
        AddRecord(owner, entry, index, bytes.Sub(index * size_t{IndexRecordSize}, IndexRecordSize),
                  bytes.Sub((index + 1) * size_t{IndexRecordSize}, IndexRecordSize));
    }
    return DDA_CLOSE;
}

// Files of a channel overlap: an image number at or below the highest seen is there already. An
// image whose data would end before its header is left out.
void UVMSLoadingDelegateReadingImageIndices::AddRecord(UVMSInputChannel& owner, const UVMSChannelFile& entry,
                                                       uint32_t index, ByteView record, ByteView next) {
    const uint32_t imageNumber = entry.firstImage + index;
    if (owner.anyImage && imageNumber <= owner.highestImage) {
        return;
    }
    ByteReader r(record);
    UVMSChannelFrameInfo frame;
    r.Skip(16); // not read
    frame.offset = r.U32LE();
    frame.related[0] = r.U16LE();
    frame.related[1] = r.U16LE();
    r.Skip(5); // not read
    frame.type = KindOfIndexWord(r.U16LE());
    const uint64_t end = next.Empty() ? entry.fileSize : next.U32LE(16);
    if (!r.Ok() || end < frame.offset + ImageHeaderSize || end > entry.fileSize) {
        return;
    }
    frame.size = static_cast<uint32_t>(end - frame.offset - ImageHeaderSize);
    frame.imageNumber = imageNumber;
    frame.channelFile = static_cast<int32_t>(file);
    owner.frames.push_back(frame);
    owner.highestImage = imageNumber;
    owner.anyImage = true;
}

DecoderAction UVMSLoadingDelegateReadingImageIndices::CloseComplete(int32_t) {
    ++file;
    return Settle() ? DDA_OPEN : StartNext(4);
}

// ---- 4: the header in front of every image ----

DecoderAction UVMSLoadingDelegateReadingImageHeaders::Start(const char*) {
    Reset();
    openChannelFile = -1;
    framesDone = frameCount = 0;
    for (const auto& owner : tables.channels) {
        frameCount += owner->frames.size();
    }
    return Settle() ? DDA_OPEN : uvms.FinishMerge();
}

bool UVMSLoadingDelegateReadingImageHeaders::Settle() {
    for (; channel < tables.channels.size(); ++channel, frame = 0, openChannelFile = -1) {
        if (frame < tables.channels[channel]->frames.size()) {
            return true;
        }
    }
    return false;
}

const UVMSChannelFile& UVMSLoadingDelegateReadingImageHeaders::FileOfFrame() const {
    const UVMSInputChannel& owner = *tables.channels[channel];
    return owner.files[static_cast<size_t>(owner.frames[frame].channelFile)];
}

void UVMSLoadingDelegateReadingImageHeaders::GetOpenName(char* name) {
    openChannelFile = tables.channels[channel]->frames[frame].channelFile;
    std::snprintf(name, MaxPathLength, "%s%s", tables.mediaRoot.c_str(),
                  tables.mediaFiles[static_cast<size_t>(FileOfFrame().mediaPosition)].c_str());
}

void UVMSLoadingDelegateReadingImageHeaders::GetReadParameters(uint64_t* offset, uint32_t* size) {
    *offset = tables.channels[channel]->frames[frame].offset;
    *size = static_cast<uint32_t>(std::min<uint64_t>(ImageHeaderRead, FileOfFrame().fileSize - *offset));
}

// The first image gives the channel its size; an image of another size fails the load.
DecoderAction UVMSLoadingDelegateReadingImageHeaders::ReadComplete(ByteView bytes) {
    UVMSInputChannel& owner = *tables.channels[channel];
    if (bytes.U32BE(220) != JpegMark && bytes.U32BE(224) != PackMark) {
        return Fail("UVMSLoadingDelegateReadingImageHeaders Unrecognised compression\n");
    }
    // Wrapping arithmetic: a damaged time gives a wrong time, never undefined behaviour.
    const uint64_t milliseconds = bytes.U64LE(96) + static_cast<uint64_t>(UnixEpochMilliseconds);
    owner.frames[frame].time =
        static_cast<int64_t>(milliseconds * static_cast<uint64_t>(TicksPerMillisecond));
    const uint16_t width = bytes.U16LE(140);
    const uint16_t height = bytes.U16LE(142);
    if (frame == 0) {
        owner.width = width;
        owner.height = height;
    } else if (width != owner.width || height != owner.height) {
        return Fail("DecodeUVMSDelegate::FileListComplete Invalid loading state\n");
    }
    ++frame;
    Progress(static_cast<double>(++framesDone) / static_cast<double>(frameCount));
    const int32_t file = openChannelFile;
    const bool sameFile =
        Settle() && openChannelFile == file && tables.channels[channel]->frames[frame].channelFile == file;
    return sameFile ? DDA_READ : DDA_CLOSE;
}

DecoderAction UVMSLoadingDelegateReadingImageHeaders::CloseComplete(int32_t) {
    openChannelFile = -1;
    if (Settle()) {
        return DDA_OPEN;
    }
    for (const auto& owner : tables.channels) {
        if (!owner->frames.empty() &&
            (owner->width != tables.channels[0]->width || owner->height != tables.channels[0]->height)) {
            return Fail("UVMSLoadingDelegateReadingImageHeaders image sizes differ across channels\n");
        }
    }
    return uvms.FinishMerge();
}

} // namespace Vorn::Vorncast::Decoders
