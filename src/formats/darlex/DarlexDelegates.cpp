#include "formats/darlex/DarlexDelegates.h"

#include "formats/darlex/DecodeDarlex.h"
#include "model/support/LogLevels.h"
#include "model/support/Path.h"

#include <strings.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace Vorn::Vorncast::Decoders {

using namespace Darlex;

namespace {

bool IsImageExtension(const char* name) {
    const char* dot = std::strrchr(name, '.');
    return dot != nullptr &&
           (strcasecmp(dot, ".VID") == 0 || strcasecmp(dot, ".000") == 0 || strcasecmp(dot, ".001") == 0);
}

} // namespace

// ---- the family's base ----

DecodeDarlexDelegate::DecodeDarlexDelegate(DecodeDarlex& darlex, Tables& tables)
    : LoadingDelegate(darlex, "DecodeDarlexDelegate"), darlex(darlex), tables(tables) {}

FileEntry* DecodeDarlexDelegate::CurrentFile() {
    int32_t index = tables.currentFile;
    return index >= 0 && index < static_cast<int32_t>(tables.files.size()) ? &tables.files[index] : nullptr;
}

void DecodeDarlexDelegate::GetOpenName(char* name) {
    FileEntry* file = CurrentFile();
    if (file == nullptr) {
        owner.Log(LogCore, "DecodeDarlexDelegate::GetOpenName fme == 0\n");
        name[0] = '\0';
        return;
    }
    std::snprintf(name, MaxPathLength, "%s", file->path);
}

// ---- 1: the file set and the size of each file ----

DecoderAction DecodeDarlexGettingFileSizes::Start(const char* loadPath) {
    Reset();
    const char* slash = nullptr;
    for (const char* c = loadPath; *c != '\0'; ++c) {
        if (Path::IsSeparator(*c)) {
            slash = c;
        }
    }
    if (slash == nullptr) {
        std::snprintf(mask, sizeof(mask), "*.*");
        return DDA_LIST_FILES;
    }
    std::snprintf(directory, sizeof(directory), "%.*s", static_cast<int>(slash - loadPath), loadPath);
    const char* name = slash + 1;
    const char* dot = std::strrchr(name, '.');
    int nameLength = static_cast<int>(dot != nullptr ? dot + 1 - name : std::strlen(name));
    std::snprintf(mask, sizeof(mask), "%.*s*", nameLength, name);
    return DDA_LIST_FILES;
}

void DecodeDarlexGettingFileSizes::GetListPath(char* directoryOut, char* maskOut, int32_t* depth) {
    // A path cut to fit the buffer names no file: the listing then finds nothing.
    if (std::snprintf(directoryOut, MaxPathLength, "%s/", directory) >= MaxPathLength) {
        directoryOut[0] = '\0';
    }
    std::snprintf(maskOut, MaxPathLength, "%s", mask);
    *depth = 1; // copies of the image in folders one level down join the set
}

DecoderAction DecodeDarlexGettingFileSizes::FileListComplete(bool ok, FileList& files) {
    if (!ok) {
        return Fail("DecodeDarlexGettingFileSizes File list failed\n");
    }
    FileListComparer byName;
    files.Sort(byName);
    for (auto* node = files.Head(); node != nullptr; node = node->next) {
        if (IsImageExtension(node->item->path)) {
            names.Add(node->item->path);
        }
    }
    if (names.Count() == 0) {
        return Fail("DecodeDarlexGettingFileSizes File list failed\n");
    }
    names.SetPosition(0);
    return DDA_OPEN;
}

void DecodeDarlexGettingFileSizes::GetOpenName(char* name) {
    FileEntry entry;
    if (std::snprintf(entry.path, sizeof(entry.path), "%s/%s", directory, names.GetCurrent()) >=
        static_cast<int>(sizeof(entry.path))) {
        entry.path[0] = '\0'; // cut to fit, it would name another file
    }
    tables.files.push_back(entry);
    tables.currentFile = static_cast<int32_t>(tables.files.size()) - 1;
    std::snprintf(name, MaxPathLength, "%s", entry.path);
}

DecoderAction DecodeDarlexGettingFileSizes::OpenComplete(int32_t, uint64_t fileSize) {
    CurrentFile()->size = fileSize;
    return DDA_CLOSE;
}

DecoderAction DecodeDarlexGettingFileSizes::CloseComplete(int32_t) {
    names.MoveNext();
    if (names.GetCurrent() != nullptr) {
        Progress(static_cast<double>(names.GetPosition()) / names.Count());
        return DDA_OPEN;
    }
    Progress(1.0);
    Reset();
    return darlex.StartLoadingDelegate(2);
}

void DecodeDarlexGettingFileSizes::Reset() {
    directory[0] = '\0';
    mask[0] = '\0';
    names.Clear();
}

// ---- 2: the track directories ----

DecoderAction DecodeDarlexFindingTracks::Start(const char*) {
    Reset();
    tables.currentFile = static_cast<int32_t>(tables.files.size()) - 1;
    return DDA_OPEN;
}

DecoderAction DecodeDarlexFindingTracks::OpenComplete(int32_t, uint64_t fileSize) {
    if (fileSize < DirectorySize) {
        return Fail("DecodeDarlexFindingTracks File too small\n");
    }
    int64_t step = SeveralFiles() ? SetSectorSize : SectorSize;
    position = static_cast<int64_t>(fileSize - DirectorySize) / step * step;
    CurrentFile()->firstFrame = tables.frames.Count();
    return DDA_READ;
}

void DecodeDarlexFindingTracks::GetReadParameters(uint64_t* offset, uint32_t* size) {
    *offset = static_cast<uint64_t>(position);
    *size = DirectorySize;
}

DecoderAction DecodeDarlexFindingTracks::ReadComplete(ByteView bytes) {
    Directory directory;
    if (ReadDirectory(bytes, &directory)) {
        AddTrack(directory);
    }
    position -= SeveralFiles() ? SetSectorSize : SectorSize;
    int64_t searchStart =
        static_cast<int64_t>(CurrentFile()->size) - static_cast<int64_t>(DirectorySearchSpan);
    return position >= 0 && position >= searchStart ? DDA_READ : DDA_CLOSE;
}

// Sectors count in 2048-byte units from the bias. A single file is a copy made with another sector
// size: its directory's end lies beyond the directory itself until it is halved enough.
void DecodeDarlexFindingTracks::AddTrack(const Directory& directory) {
    Track track;
    int64_t end = (static_cast<int64_t>(directory.endSector) - directory.sectorBias) * SetSectorSize;
    if (SeveralFiles()) {
        track.startOffset = static_cast<uint64_t>(
            (static_cast<int64_t>(directory.startSector) - directory.sectorBias) * SetSectorSize);
    } else {
        while (end >= position && end > 0) {
            end /= 2;
        }
    }
    track.endOffset = static_cast<uint64_t>(end);
    track.firstTime = directory.startTime;
    track.lastTime = directory.endTime;
    track.cameras.assign(directory.names, directory.names + NamedCameras);
    tables.tracks.push_back(track);
}

DecoderAction DecodeDarlexFindingTracks::CloseComplete(int32_t) {
    if (tables.tracks.empty() && tables.currentFile > 0) {
        --tables.currentFile;
        return DDA_OPEN;
    }
    if (tables.tracks.empty()) {
        return Fail("DecodeDarlexFindingTracks No tracks found\n");
    }
    std::stable_sort(tables.tracks.begin(), tables.tracks.end(),
                     [](const Track& a, const Track& b) { return a.firstTime < b.firstTime; });
    Progress(1.0);
    Reset();
    return darlex.StartLoadingDelegate(3);
}

// ---- the walk over sectors shared by stages 3 and 4 ----

void DecodeDarlexSectorWalk::GetReadParameters(uint64_t* offset, uint32_t* size) {
    *offset = position - fileStart;
    *size = FrameHeaderSize;
    if (total > 0 && position % (SectorSize * 256) == 0) {
        Progress(static_cast<double>(done + position) / static_cast<double>(total));
    }
}

void DecodeDarlexSectorWalk::Reset() {
    position = 0;
    fileStart = 0;
    total = 0;
    done = 0;
}

uint64_t DecodeDarlexSectorWalk::FileEnd() const {
    int32_t index = tables.currentFile;
    return fileStart +
           (index >= 0 && index < static_cast<int32_t>(tables.files.size()) ? tables.files[index].size : 0);
}

bool DecodeDarlexSectorWalk::SeekFileOfPosition() {
    fileStart = 0;
    for (size_t index = 0; index < tables.files.size(); ++index) {
        if (position < fileStart + tables.files[index].size) {
            tables.currentFile = static_cast<int32_t>(index);
            return true;
        }
        fileStart += tables.files[index].size;
    }
    tables.currentFile = static_cast<int32_t>(tables.files.size());
    return false;
}

// A position inside the last few bytes of a file skips that partial sector.
DecoderAction DecodeDarlexSectorWalk::ReadOrChangeFile() {
    uint64_t end = FileEnd();
    if (position + FrameHeaderSize <= end) {
        return DDA_READ;
    }
    if (position < end) {
        position += SectorSize;
    }
    fileStart = end;
    ++tables.currentFile;
    return DDA_CLOSE;
}

void DecodeDarlexSectorWalk::AddFrame(const FrameHeader& header, const Track* track) {
    MultiFileFrameInfo frame{};
    frame.recordedTime = header.time;
    frame.offset = position - fileStart;
    frame.size = static_cast<uint32_t>(header.sectors * static_cast<int32_t>(SectorSize));
    frame.camera.number = header.camera;
    frame.fileNumber = tables.currentFile;
    if (track != nullptr) {
        for (const CameraTag& named : track->cameras) {
            if (named.number == header.camera) {
                frame.camera = named;
            }
        }
    }
    tables.frames.Append(frame);
}

// ---- 3: the frames inside the tracks ----

DecoderAction DecodeDarlexIndexingTrackedFrames::Start(const char*) {
    Reset();
    for (const Track& each : tables.tracks) {
        total += each.endOffset - each.startOffset;
    }
    track = 0;
    tables.tracks[0].firstFrame = 0;
    position = tables.tracks[0].startOffset;
    done = 0 - position; // progress counts done + position, from each track's start
    if (!SeekFileOfPosition()) {
        return Fail("DecodeDarlexIndexingTrackedFrames::Start programming error\n");
    }
    return DDA_OPEN;
}

DecoderAction DecodeDarlexIndexingTrackedFrames::OpenComplete(int32_t, uint64_t) {
    return NextStep();
}

DecoderAction DecodeDarlexIndexingTrackedFrames::ReadComplete(ByteView bytes) {
    FrameHeader header;
    if (ReadFrameHeader(bytes, &header)) {
        AddFrame(header, &tables.tracks[track]);
        ++tables.tracks[track].frameCount;
    }
    position += SectorSize;
    return NextStep();
}

DecoderAction DecodeDarlexIndexingTrackedFrames::NextStep() {
    while (position > tables.tracks[track].endOffset) {
        DecoderAction ended = EndTrack();
        if (ended != DDA_NO_ACTION) {
            return ended;
        }
    }
    return ReadOrChangeFile();
}

// Past the track's end: its cameras come from its frames, and the next track starts. DDA_NO_ACTION
// when that one goes on in the open file.
DecoderAction DecodeDarlexIndexingTrackedFrames::EndTrack() {
    Track& ended = tables.tracks[track];
    done += ended.endOffset; // with the start taken off before, the track's whole range
    CollectTrackCameras(tables, ended);
    if (++track >= static_cast<int32_t>(tables.tracks.size())) {
        track = -1;
        return DDA_CLOSE;
    }
    tables.tracks[track].firstFrame = tables.frames.Count();
    position = tables.tracks[track].startOffset;
    done -= position;
    if (position >= fileStart && position < FileEnd()) {
        return DDA_NO_ACTION;
    }
    if (!SeekFileOfPosition()) {
        return Fail("DecodeDarlexIndexingTrackedFrames::ReadComplete programming error\n");
    }
    return DDA_CLOSE;
}

DecoderAction DecodeDarlexIndexingTrackedFrames::CloseComplete(int32_t) {
    if (track >= 0) {
        return DDA_OPEN;
    }
    RemoveEmptyTracks();
    Progress(1.0);
    Reset();
    return darlex.Variant() == 1 ? darlex.StartLoadingDelegate(4) : DDA_COMPLETE;
}

void DecodeDarlexIndexingTrackedFrames::RemoveEmptyTracks() {
    auto& tracks = tables.tracks;
    tracks.erase(
        std::remove_if(tracks.begin(), tracks.end(), [](const Track& t) { return t.frameCount == 0; }),
        tracks.end());
}

void DecodeDarlexIndexingTrackedFrames::Reset() {
    DecodeDarlexSectorWalk::Reset();
    track = -1;
}

// ---- 4: the frames the tracks leave out ----

DecoderAction DecodeDarlexIndexingUntrackedFrames::Start(const char*) {
    Reset();
    for (const FileEntry& file : tables.files) {
        total += file.size;
    }
    firstFrame = tables.frames.Count();
    tables.currentFile = 0;
    return DDA_OPEN;
}

DecoderAction DecodeDarlexIndexingUntrackedFrames::OpenComplete(int32_t, uint64_t) {
    return NextStep();
}

DecoderAction DecodeDarlexIndexingUntrackedFrames::ReadComplete(ByteView bytes) {
    FrameHeader header;
    if (ReadFrameHeader(bytes, &header)) {
        AddFrame(header, nullptr);
    }
    position += SectorSize;
    return NextStep();
}

// The test weighs a byte position against a track's first frame number, not its start offset: the
// tracks are passed over in one go, and the walk covers what lies behind the last of them.
DecoderAction DecodeDarlexIndexingUntrackedFrames::NextStep() {
    auto& tracks = tables.tracks;
    while (track < static_cast<int32_t>(tracks.size()) &&
           position >= static_cast<uint64_t>(tracks[track].firstFrame)) {
        position = tracks[track].endOffset + SectorSize;
        ++track;
    }
    return ReadOrChangeFile();
}

DecoderAction DecodeDarlexIndexingUntrackedFrames::CloseComplete(int32_t) {
    if (tables.currentFile < static_cast<int32_t>(tables.files.size())) {
        return DDA_OPEN;
    }
    if (tables.frames.Count() - firstFrame > 1) {
        AddLastTrack();
    }
    Progress(1.0);
    return DDA_COMPLETE;
}

// The last frame is in the list but not counted in the track.
void DecodeDarlexIndexingUntrackedFrames::AddLastTrack() {
    auto streamOffset = [this](const MultiFileFrameInfo& frame) {
        uint64_t start = 0;
        for (int32_t index = 0; index < frame.fileNumber; ++index) {
            start += tables.files[index].size;
        }
        return start + frame.offset;
    };
    MultiFileFrameInfo first = tables.frames.GetAt(firstFrame);
    MultiFileFrameInfo last = tables.frames.GetAt(tables.frames.Count() - 1);
    Track track;
    track.firstFrame = firstFrame;
    track.startOffset = streamOffset(first);
    track.firstTime = first.recordedTime;
    track.endOffset = streamOffset(last);
    track.lastTime = last.recordedTime;
    track.frameCount = tables.frames.Count() - firstFrame - 1;
    CollectTrackCameras(tables, track);
    tables.tracks.push_back(track);
}

void DecodeDarlexIndexingUntrackedFrames::Reset() {
    DecodeDarlexSectorWalk::Reset();
    track = 0;
    firstFrame = 0;
}

} // namespace Vorn::Vorncast::Decoders
