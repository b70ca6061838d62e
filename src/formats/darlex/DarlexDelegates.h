#pragma once

#include "formats/darlex/DarlexRecords.h"
#include "formats/shared/LoadingDelegate.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

class DecodeDarlex;

// The stages of a Darlex load. Each borrows the decoder's tables; the file table's current entry
// carries the walk from one stage to the next.
class DecodeDarlexDelegate : public LoadingDelegate {
public:
    DecodeDarlexDelegate(DecodeDarlex& darlex, Darlex::Tables& tables);

    // The path of the current file of the file table.
    void GetOpenName(char* name) override;

protected:
    Darlex::FileEntry* CurrentFile();
    bool SeveralFiles() const { return tables.files.size() > 1; }

    DecodeDarlex& darlex;
    Darlex::Tables& tables;
};

// Lists the file set and finds the size of each file.
class DecodeDarlexGettingFileSizes : public DecodeDarlexDelegate {
public:
    using DecodeDarlexDelegate::DecodeDarlexDelegate;

    DecoderAction Start(const char* loadPath) override;
    void GetListPath(char* directory, char* mask, int32_t* depth) override;
    DecoderAction FileListComplete(bool ok, FileList& files) override;
    void GetOpenName(char* name) override;
    DecoderAction OpenComplete(int32_t fileId, uint64_t fileSize) override;
    DecoderAction CloseComplete(int32_t fileId) override;
    void Reset() override;

private:
    char directory[MaxPathLength] = {};
    char mask[MaxPathLength] = {};
    FileList names;
};

// Finds the track directories near the end of the stream, file by file from the last.
class DecodeDarlexFindingTracks : public DecodeDarlexDelegate {
public:
    using DecodeDarlexDelegate::DecodeDarlexDelegate;

    DecoderAction Start(const char* loadPath) override;
    DecoderAction OpenComplete(int32_t fileId, uint64_t fileSize) override;
    void GetReadParameters(uint64_t* offset, uint32_t* size) override;
    DecoderAction ReadComplete(ByteView bytes) override;
    DecoderAction CloseComplete(int32_t fileId) override;
    void Reset() override { position = 0; }

private:
    void AddTrack(const Darlex::Directory& directory);

    int64_t position = 0;
};

// Reads a header at every sector of the stream between two limits, moving from file to file: the
// walk both indexing stages share. A damaged frame costs nothing but itself, as the walk never
// jumps by a frame's size.
class DecodeDarlexSectorWalk : public DecodeDarlexDelegate {
public:
    using DecodeDarlexDelegate::DecodeDarlexDelegate;

    void GetReadParameters(uint64_t* offset, uint32_t* size) override;
    void Reset() override;

protected:
    // The file holding the position becomes current, with its stream offset; false past the last.
    bool SeekFileOfPosition();
    // Moves to the next file when fewer than a header's bytes remain in this one: DDA_CLOSE then,
    // DDA_READ while a header fits.
    DecoderAction ReadOrChangeFile();
    // A frame of the header at the position; the track's directory names it when there is one.
    void AddFrame(const Darlex::FrameHeader& header, const Darlex::Track* track);
    uint64_t FileEnd() const;

    uint64_t position = 0;
    uint64_t fileStart = 0;
    uint64_t total = 0;
    uint64_t done = 0;
};

// Walks each track's range for frames.
class DecodeDarlexIndexingTrackedFrames : public DecodeDarlexSectorWalk {
public:
    using DecodeDarlexSectorWalk::DecodeDarlexSectorWalk;

    DecoderAction Start(const char* loadPath) override;
    DecoderAction OpenComplete(int32_t fileId, uint64_t fileSize) override;
    DecoderAction ReadComplete(ByteView bytes) override;
    DecoderAction CloseComplete(int32_t fileId) override;
    void Reset() override;

private:
    DecoderAction NextStep();
    DecoderAction EndTrack();
    void RemoveEmptyTracks();

    int32_t track = -1;
};

// Walks what the tracks leave out, and makes a last track of the frames found there.
class DecodeDarlexIndexingUntrackedFrames : public DecodeDarlexSectorWalk {
public:
    using DecodeDarlexSectorWalk::DecodeDarlexSectorWalk;

    DecoderAction Start(const char* loadPath) override;
    DecoderAction OpenComplete(int32_t fileId, uint64_t fileSize) override;
    DecoderAction ReadComplete(ByteView bytes) override;
    DecoderAction CloseComplete(int32_t fileId) override;
    void Reset() override;

private:
    DecoderAction NextStep();
    void AddLastTrack();

    int32_t track = 0;
    int32_t firstFrame = 0;
};

} // namespace Vorn::Vorncast::Decoders
