#pragma once

#include "core/binary/ByteView.h"
#include "core/client/DecoderRows.h"
#include "core/decoder/BaseDecoder.h"
#include "core/decoder/ReadBuffer.h"

#include <cstdint>
#include <vector>

namespace Vorn::Vorncast::Decoders {

// Declares the file operations of one phase, each routed to the pending continuation.
#define VORN_FORMAT_FILE_STEPS(Phase)                                                                        \
    void Phase##GetOpenName(char* name) override;                                                            \
    DecoderAction Phase##OpenComplete(int32_t fileId, uint64_t fileSize) override;                           \
    void Phase##GetFileToClose(int32_t* fileId) override;                                                    \
    DecoderAction Phase##CloseComplete(int32_t fileId) override;                                             \
    void Phase##GetReadParameters(int32_t* fileId, uint64_t* offset, uint32_t* size, uint8_t** buffer)       \
        override;                                                                                            \
    DecoderAction Phase##ReadComplete(int32_t fileId, bool ok) override;                                     \
    DecoderAction Phase##EventComplete(WaitObject signalled) override;

// The layer every format decoder is written on. It takes the decoder's identity from its row of the
// decoder table, and turns the action protocol of BaseDecoder into continuations: a step asks for a
// file action and names the step that receives its result,
//
//     return Read(fileId, offset, size, &DecodeX::OnHeader, "DecodeX::LoadingReadComplete failed ...\n");
//
// and the layer hands the action's parameters to the client, checks the result, logs the given text
// and fails on a bad one, and calls the step with a bounds-checked view of exactly the bytes read.
// One action is pending at a time, in whatever phase the decoder is in.
//
// The layer also keeps the files the decoder has open. Unloading and failing close them all, last
// opened first, and then Reset the decoder; a unit's own state goes back to its unloaded condition
// in ForgetRecording.
class FormatDecoder : public BaseDecoder {
public:
    explicit FormatDecoder(const DecoderRow& row);

    const char* GetDecoderName() override { return row.name; }
    void GetDecoderGuid(const char** guid) override { *guid = row.guid; }
    const char* GetExtensions(int32_t* count) override;
    bool IsExtension(const char* extension) override;
    const char* GetPathPattern(int32_t index) override;
    const DecoderRow& Row() const { return row; }

    // Forgets the pending action, the open files and the read buffer, then the unit's own state.
    void Reset() final;
    // The frame at or before `frame`: as a rule the one before the next.
    int32_t GetFrameAtOrBefore(int32_t frame, int32_t cameraFilter) override {
        return GetPreviousFrame(frame + 1, cameraFilter);
    }

protected:
    template <class Unit> using OpenStep = DecoderAction (Unit::*)(int32_t fileId, uint64_t fileSize);
    template <class Unit> using ReadStep = DecoderAction (Unit::*)(ByteView bytes);
    template <class Unit> using TryReadStep = DecoderAction (Unit::*)(bool ok, ByteView bytes);
    template <class Unit> using CloseStep = DecoderAction (Unit::*)(int32_t fileId);
    template <class Unit> using ListStep = DecoderAction (Unit::*)(bool ok, FileList& files);
    template <class Unit> using EventStep = DecoderAction (Unit::*)(WaitObject signalled);

    // Opens `path`. With a `failure` text, an open that failed (identifier -1) or an empty file
    // logs it and fails; without one, `step` judges the result itself. An opened file is kept
    // open, also when refused, until it is closed or the decoder unloads or fails.
    template <class Unit> DecoderAction Open(const char* path, OpenStep<Unit> step, const char* failure) {
        return AskOpen(path, static_cast<OpenStep<FormatDecoder>>(step), failure);
    }
    // Reads `size` bytes at `offset`; `step` receives exactly them. A failed read logs `failure`
    // and fails. The bytes stay in `readBuffer` until the next read.
    template <class Unit>
    DecoderAction Read(int32_t fileId, uint64_t offset, uint32_t size, ReadStep<Unit> step,
                       const char* failure) {
        return AskRead(fileId, offset, size, static_cast<ReadStep<FormatDecoder>>(step), failure, nullptr);
    }
    // A read whose failure is the step's to judge: `step` receives false and no bytes.
    template <class Unit>
    DecoderAction TryRead(int32_t fileId, uint64_t offset, uint32_t size, TryReadStep<Unit> step) {
        return AskRead(fileId, offset, size, nullptr, nullptr, static_cast<TryReadStep<FormatDecoder>>(step));
    }
    template <class Unit> DecoderAction Close(int32_t fileId, CloseStep<Unit> step) {
        return AskClose(fileId, static_cast<CloseStep<FormatDecoder>>(step));
    }
    // Expands `pattern` below `directory` to `depth` levels into a file list.
    template <class Unit>
    DecoderAction ListFiles(const char* directory, const char* pattern, int32_t depth, ListStep<Unit> step) {
        return AskList(directory, pattern, depth, static_cast<ListStep<FormatDecoder>>(step));
    }
    template <class Unit> DecoderAction WaitEvent(EventStep<Unit> step) {
        return AskWait(static_cast<EventStep<FormatDecoder>>(step));
    }

    // Logs the text at the core-failure level and fails the step (see DecoderFailure).
    DecoderAction Fail(const char* format, ...) __attribute__((format(printf, 2, 3)));

    // The unit's part of Reset: its lists, codecs and counters back to the unloaded condition.
    virtual void ForgetRecording() = 0;
    // Most formats hold a frame's times and camera in their index: positioning has nothing to do.
    DecoderAction PositioningCore() override { return DDA_COMPLETE; }

    // Closes every open file, then resets; the load ends as unloaded.
    DecoderAction UnloadingCore() override;
    void UnloadingGetFileToClose(int32_t* fileId) override;
    DecoderAction UnloadingCloseComplete(int32_t fileId) override;
    // Closes every open file, then resets; DecoderFailure runs again after each close.
    DecoderAction FailingCore() override;
    void FailingGetFileToClose(int32_t* fileId) override;
    DecoderAction FailingCloseComplete(int32_t fileId) override;

    VORN_FORMAT_FILE_STEPS(Querying)
    VORN_FORMAT_FILE_STEPS(Loading)
    VORN_FORMAT_FILE_STEPS(Positioning)
    VORN_FORMAT_FILE_STEPS(PositioningAudio)
    VORN_FORMAT_FILE_STEPS(Decompressing)
    VORN_FORMAT_FILE_STEPS(DecompressingAudio)
    void QueryingGetListPath(char* directory, char* pattern, int32_t* depth) override;
    DecoderAction QueryingFileListComplete(bool ok, FileList& fileList) override;
    void LoadingGetListPath(char* directory, char* pattern, int32_t* depth) override;
    DecoderAction LoadingFileListComplete(bool ok, FileList& fileList) override;

    bool HasOpenFiles() const { return !openFiles.empty(); }

    // Grow-only: the bytes of the last read, and beyond them those of earlier, longer ones.
    ReadBuffer readBuffer;

private:
    struct Pending {
        DecoderAction action = DDA_NO_ACTION;
        int32_t fileId = -1;
        uint64_t offset = 0;
        uint32_t size = 0;
        int32_t depth = 0;
        const char* failure = nullptr;
        OpenStep<FormatDecoder> onOpen = nullptr;
        ReadStep<FormatDecoder> onRead = nullptr;
        TryReadStep<FormatDecoder> onTryRead = nullptr;
        CloseStep<FormatDecoder> onClose = nullptr;
        ListStep<FormatDecoder> onList = nullptr;
        EventStep<FormatDecoder> onEvent = nullptr;
        char path[MaxPathLength] = {};
        char pattern[MaxPathLength] = {};
    };

    DecoderAction AskOpen(const char* path, OpenStep<FormatDecoder> step, const char* failure);
    DecoderAction AskRead(int32_t fileId, uint64_t offset, uint32_t size, ReadStep<FormatDecoder> step,
                          const char* failure, TryReadStep<FormatDecoder> tryStep);
    DecoderAction AskClose(int32_t fileId, CloseStep<FormatDecoder> step);
    DecoderAction AskList(const char* directory, const char* pattern, int32_t depth,
                          ListStep<FormatDecoder> step);
    DecoderAction AskWait(EventStep<FormatDecoder> step);

    // Each hands out or completes the pending action; false when none of that kind is pending, so
    // that BaseDecoder's refusal of the phase operation answers instead.
    bool GiveOpenName(char* name) const;
    bool GiveFileToClose(int32_t* fileId) const;
    bool GiveReadParameters(int32_t* fileId, uint64_t* offset, uint32_t* size, uint8_t** buffer);
    bool GiveListPath(char* directory, char* pattern, int32_t* depth) const;
    bool Completes(DecoderAction action) const { return pending.action == action; }
    DecoderAction CompleteOpen(int32_t fileId, uint64_t fileSize);
    DecoderAction CompleteRead(bool ok);
    DecoderAction CompleteClose(int32_t fileId);
    DecoderAction CompleteList(bool ok, FileList& fileList);
    DecoderAction CompleteWait(WaitObject signalled);
    // Takes the pending action out, so that the step it calls may ask for the next one.
    Pending TakePending();
    void ForgetFile(int32_t fileId);

    const DecoderRow& row;
    Pending pending;
    std::vector<int32_t> openFiles;
};

#undef VORN_FORMAT_FILE_STEPS

// Number of ';'-separated items of an extension list; 0 for a null or empty text.
int32_t CountExtensions(const char* extensions);
// Whether `extension` equals one item of `extensions`, case ignored.
bool ExtensionListHas(const char* extensions, const char* extension);

// Makes the decoder of one row: the creator each format unit names in the decoder table.
template <class Unit> BaseDecoder* CreateFormatDecoder(const DecoderRow& row) {
    return new Unit(row);
}

} // namespace Vorn::Vorncast::Decoders
