#include "native/darlex/DarlexDecoder.h"

#include "interface/LibraryFrame.h"
#include "model/files/FileSource.h"
#include "model/support/Path.h"
#include "native/NativeFailure.h"
#include "native/darlex/DarlexTrack.h"

#include <algorithm>
#include <cstring>

namespace Vorn::Vorncast {
namespace {

constexpr const char* SourceFile = "Decoders\\Darlex\\DarlexDecoder";
constexpr const char* ImageExtensions[] = {".000", ".001", ".VID"};
constexpr int32_t MaxWalkedHeaders = 4000;
// Track directories lie in this stretch at the end of an image.
constexpr int64_t DirectoryStretch = 0x618000;
constexpr int64_t SearchRunBlocks = 128;
constexpr int64_t DirectorySectorBytes = 2048;
constexpr size_t TrailerStartTime = 36;
constexpr size_t TrailerEndTime = 48;

std::string TextOf(const Buffer& buffer) {
    std::string_view text;
    return Path::TextOf(buffer, &text) ? std::string(text) : std::string();
}

FrameTimes TimesAt(int64_t time) {
    FrameTimes times{};
    times.recordedTime = time;
    times.streamTime = time;
    return times;
}

int64_t OnGrid(int64_t position) {
    return position / DarlexBlockBytes * DarlexBlockBytes;
}

} // namespace

int DarlexDecoder::Query(const Buffer& url, int32_t detail, QueryResult* result) {
    if (result == nullptr) {
        return SetLastError(InvalidArgument, SourceFile, __LINE__, "queryResult");
    }
    std::memset(result, 0, sizeof *result);
    const std::string path = TextOf(url);
    if (!Path::ExtensionIs(path, "vid")) {
        return Success;
    }
    result->canLoad = 1;
    if (detail != 1) {
        return Success;
    }
    File vidFile;
    if (vidFile.Open(nullptr, path.c_str()) != Success) {
        return NativeFail(SourceFile, __LINE__, GeneralFailure, "DarlexDecoder::Query Failed to open URL %s",
                          path.c_str());
    }
    const int64_t trailer = OnGrid(vidFile.Size() - DarlexDirectoryBytes);
    uint8_t bytes[DarlexDirectoryBytes];
    uint32_t read = 0;
    if (trailer < 0 || vidFile.Seek(trailer, SeekFromStart, nullptr) != Success) {
        return NativeFail(SourceFile, __LINE__, GeneralFailure,
                          "DarlexDecoder::Query vidFile failed to seek");
    }
    if (vidFile.Read(bytes, DarlexDirectoryBytes, &read) != Success || read != DarlexDirectoryBytes) {
        return NativeFail(SourceFile, __LINE__, GeneralFailure,
                          "DarlexDecoder::Query vidFile failed to read");
    }
    result->startTime = TimesAt(DarlexDirectoryTime(bytes + TrailerStartTime));
    result->endTime = TimesAt(DarlexDirectoryTime(bytes + TrailerEndTime));
    result->hasTimes = 1;
    return Success;
}

int DarlexDecoder::Load(const Buffer& url, ProgressCallback, MessageCallback, AbortOperation abort,
                        int32_t* resourceCount) {
    if (!Path::ExtensionIs(TextOf(url), "vid")) {
        return NativeFail(SourceFile, __LINE__, GeneralFailure,
                          "DarlexDecoder: URL has invalid file extension. Wanted .vid file");
    }
    int status = AppendFiles(url, resourceCount);
    if (status == Success) {
        status = WalkFromStart(abort);
    }
    if (status == Success) {
        status = FindDirectoriesAtEnd(abort);
    }
    return status == Success ? MakeTracks(abort) : status;
}

// The image's files in their order, those that exist beside the URL.
int DarlexDecoder::AppendFiles(const Buffer& url, int32_t* resourceCount) {
    const std::string directory = TextOf(Path::GetDirectory(url));
    std::string stem = TextOf(Path::GetName(url));
    stem = stem.substr(0, stem.find_last_of('.'));
    for (const char* extension : ImageExtensions) {
        const std::string path = Path::Join(directory, stem + extension).Text();
        if (!FileSource::Current().Exists(path)) {
            continue;
        }
        if (image.Append(path.c_str()) != Success) {
            return NativeFail(SourceFile, __LINE__, GeneralFailure,
                              "DarlexDecoder: Could not append file to composite file.");
        }
        paths.push_back(path);
        fileEnds.push_back(image.TotalSize());
        AddResource(Buffer(path.c_str()), 0);
        if (resourceCount != nullptr) {
            ++*resourceCount;
        }
    }
    return Success;
}

int DarlexDecoder::ReadAt(int64_t position, int32_t count, std::vector<uint8_t>* bytes, uint32_t* read) {
    uint64_t reached = 0;
    if (image.Seek(position, &reached) != Success || reached != static_cast<uint64_t>(position)) {
        return NativeFail(SourceFile, __LINE__, GeneralFailure, "DarlexDecoder::Load cFile failed to seek");
    }
    bytes->resize(static_cast<size_t>(count));
    *read = 0;
    return image.Read(count, bytes->data(), count, read) == Success ? Success : GeneralFailure;
}

// The first headers of the image, frame by frame: the cameras they show, and any track directory.
int DarlexDecoder::WalkFromStart(AbortOperation abort) {
    std::vector<uint8_t> bytes;
    int64_t at = 0;
    for (int32_t headers = 0; headers < MaxWalkedHeaders && at < image.TotalSize(); ++headers) {
        if (abort != nullptr && abort() != 0) {
            return NativeFail(SourceFile, __LINE__, UserAborted, "DarlexDecoder: User abort");
        }
        uint32_t read = 0;
        const int status = ReadAt(at, DarlexDirectoryBytes, &bytes, &read);
        if (status != Success || read < DarlexHeaderBytes) {
            return status;
        }
        DarlexFrameHeader header;
        if (ReadDarlexFrameHeader(bytes.data(), &header)) {
            walkedFrames[at] = header.channel;
            at += (std::max(header.dataBlocks, 0) + 1) * DarlexBlockBytes;
            continue;
        }
        if (read == DarlexDirectoryBytes && IsDarlexDirectory(bytes.data())) {
            AddDirectory(bytes.data(), at);
        }
        at += DarlexBlockBytes;
    }
    return Success;
}

// The directories in the last stretch of a file, from the last file back to the first that has
// any, read a run of sectors at a time.
int DarlexDecoder::FindDirectoriesAtEnd(AbortOperation abort) {
    for (size_t file = fileEnds.size(); file-- > 0 && directories.empty();) {
        const int64_t fileStart = file > 0 ? fileEnds[file - 1] : 0;
        const int status = FindDirectoriesBefore(std::max(fileStart, fileEnds[file] - DirectoryStretch),
                                                 fileEnds[file], abort);
        if (status != Success) {
            return status;
        }
    }
    return Success;
}

int DarlexDecoder::FindDirectoriesBefore(int64_t lowest, int64_t end, AbortOperation abort) {
    std::vector<uint8_t> bytes;
    for (int64_t last = OnGrid(end - DarlexDirectoryBytes); last >= lowest;
         last -= SearchRunBlocks * DarlexBlockBytes) {
        if (abort != nullptr && abort() != 0) {
            return NativeFail(SourceFile, __LINE__, UserAborted, "DarlexDecoder: User abort");
        }
        const int64_t first =
            std::max(OnGrid(lowest + DarlexBlockBytes - 1), last - (SearchRunBlocks - 1) * DarlexBlockBytes);
        uint32_t read = 0;
        const int status =
            ReadAt(first, static_cast<int32_t>(last - first + DarlexDirectoryBytes), &bytes, &read);
        if (status != Success) {
            return status;
        }
        for (int64_t at = first; at <= last; at += DarlexBlockBytes) {
            const auto offset = static_cast<size_t>(at - first);
            if (offset + DarlexDirectoryBytes <= read && IsDarlexDirectory(&bytes[offset])) {
                AddDirectory(&bytes[offset], at);
            }
        }
    }
    return Success;
}

// A track's bounds come from its sectors of 2048 bytes; its last frame's header may stand on its
// end sector. Where the end of a single-file image would reach the directory itself, the file is a
// copy made with smaller sectors: both bounds are halved until the end lies before the directory.
void DarlexDecoder::AddDirectory(const uint8_t* bytes, int64_t at) {
    TrackRecord record;
    if (!ReadDarlexDirectory(bytes, &record.directory)) {
        return;
    }
    const DarlexDirectory& directory = record.directory;
    record.start = (directory.startSector - directory.sectorBias) * DirectorySectorBytes;
    record.end = (directory.endSector - directory.sectorBias) * DirectorySectorBytes;
    while (image.FileCount() == 1 && record.end >= at && record.end > 0) {
        record.start /= 2;
        record.end /= 2;
    }
    record.start = std::clamp<int64_t>(record.start, 0, image.TotalSize());
    record.end = std::clamp<int64_t>(record.end + DarlexBlockBytes, record.start, image.TotalSize());
    directories[at] = record;
}

// The cameras a track shows: those its directory names, those the walk met inside it, and else
// those of the frames nearest its two ends.
std::set<int32_t> DarlexDecoder::ChannelsOf(const TrackRecord& record, AbortOperation abort) {
    std::set<int32_t> channels;
    for (int32_t camera = 1; camera <= DarlexCameraNames; ++camera) {
        if (!record.directory.cameraNames[camera - 1].empty()) {
            channels.insert(camera);
        }
    }
    for (auto frame = walkedFrames.lower_bound(record.start);
         frame != walkedFrames.end() && frame->first < record.end; ++frame) {
        channels.insert(frame->second);
    }
    const int64_t run = SearchRunBlocks * DarlexBlockBytes;
    for (int64_t step = 0; channels.empty() && step < DirectoryStretch && (abort == nullptr || abort() == 0);
         step += run) {
        const int64_t forward = record.start + step;
        const int64_t backward = std::max(record.start, record.end - step - run);
        if (forward >= record.end) {
            break;
        }
        ProbeChannels(forward, std::min(run, record.end - forward), &channels);
        ProbeChannels(backward, std::min(run, record.end - backward), &channels);
    }
    return channels;
}

// The cameras of the frame headers on the grid of `count` bytes from `first`.
void DarlexDecoder::ProbeChannels(int64_t first, int64_t count, std::set<int32_t>* channels) {
    std::vector<uint8_t> bytes;
    uint32_t read = 0;
    if (count <= 0 || ReadAt(first, static_cast<int32_t>(count), &bytes, &read) != Success) {
        return;
    }
    DarlexFrameHeader header;
    for (uint32_t offset = 0; offset + DarlexHeaderBytes <= read; offset += DarlexBlockBytes) {
        if (ReadDarlexFrameHeader(&bytes[offset], &header)) {
            channels->insert(header.channel);
        }
    }
}

int DarlexDecoder::MakeTracks(AbortOperation abort) {
    std::vector<const TrackRecord*> ordered;
    for (const auto& [at, record] : directories) {
        ordered.push_back(&record);
    }
    std::stable_sort(ordered.begin(), ordered.end(), [](const TrackRecord* a, const TrackRecord* b) {
        return a->directory.startTime < b->directory.startTime;
    });
    DeleteTracks();
    for (const TrackRecord* record : ordered) {
        const std::set<int32_t> channels = ChannelsOf(*record, abort);
        if (channels.empty()) {
            continue;
        }
        auto* track = new DarlexTrack;
        if (track->Load(tracks.Count() + 1, record->directory, record->start, record->end, channels, paths) !=
            Success) {
            delete track;
            return NativeFail(SourceFile, __LINE__, GeneralFailure,
                              "DarlexDecoder::Load failed to load track");
        }
        AddTrack(track);
    }
    return tracks.Count() > 0 ? Success
                              : NativeFail(SourceFile, __LINE__, GeneralFailure,
                                           "DarlexDecoder: could not find any tracks or streams");
}

int DarlexDecoder::Close() {
    return Success;
}

int DarlexDecoder::GetTrack(int32_t index, Track** track) {
    if (track == nullptr) {
        return SetLastError(InvalidHandle, SourceFile, __LINE__, "DarlexDecoder: invalid trackHandle");
    }
    if (index < 0 || index >= tracks.Count()) {
        return SetLastError(InvalidArgument, SourceFile, __LINE__, "DarlexDecoder: trackNumber out of range");
    }
    *track = tracks.GetItemPointer(index)->Get();
    return Success;
}

} // namespace Vorn::Vorncast
