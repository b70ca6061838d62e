#pragma once

#include "core/binary/ByteView.h"
#include "core/decoder/FormatDecoder.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

class DelegatedLoadingDecoder;

// One stage of a load that is too long for one chain of steps: an object with the shape of a small
// decoder. It answers the loading operations with actions, as a decoder does, and its owner carries
// each action out and hands the result back to the delegate that is running. A delegate at its
// end starts the next one through its owner and returns that one's first action.
//
// Delegates are members of their decoder, alive all the time, and borrow the decoder's tables; the
// decoder keeps the one file that is open. Operations a delegate does not override log
// "<class>::<operation> Invalid loading state" under the family's class name and fail.
class LoadingDelegate {
public:
    // `className` names the family's delegate base in the texts of the defaults.
    LoadingDelegate(DelegatedLoadingDecoder& owner, const char* className)
        : owner(owner), className(className) {}
    virtual ~LoadingDelegate() = default;
    LoadingDelegate(const LoadingDelegate&) = delete;
    LoadingDelegate& operator=(const LoadingDelegate&) = delete;

    // The delegate's first action for the load of `loadPath`.
    virtual DecoderAction Start(const char* loadPath) = 0;
    // Directory, mask and depth of a listing the delegate asked for with DDA_LIST_FILES.
    virtual void GetListPath(char* directory, char* mask, int32_t* depth);
    virtual DecoderAction FileListComplete(bool ok, FileList& files);
    // The path of a file the delegate asked for with DDA_OPEN.
    virtual void GetOpenName(char* name);
    // The file is open and valid (the owner refuses an invalid one); by default it is read.
    virtual DecoderAction OpenComplete(int32_t fileId, uint64_t fileSize);
    // Where and how much the owner reads in its open file for a DDA_READ.
    virtual void GetReadParameters(uint64_t* offset, uint32_t* size);
    // The bytes of a read that succeeded (the owner fails a read that did not).
    virtual DecoderAction ReadComplete(ByteView bytes);
    // The owner's file is closed (or there was none open: id -1).
    virtual DecoderAction CloseComplete(int32_t fileId) = 0;
    // Back to the condition before Start: the decoder unloads, fails or loads again.
    virtual void Reset() {}

protected:
    // Logs `text` as a failure and returns DDA_FAILED, which the owner turns into its failure.
    DecoderAction Fail(const char* format, ...) __attribute__((format(printf, 2, 3)));
    // A fraction of this delegate's own work; the owner weighs it into the load's progress.
    void Progress(double fraction);

    DelegatedLoadingDecoder& owner;
    const char* className;

private:
    DecoderAction InvalidState(const char* operation);
};

// A format decoder whose load runs as a chain of delegates. The unit's LoadingCore starts its first
// delegate and returns RunDelegate(...) of that delegate's first action; from then on the decoder
// carries out what the running delegate asks for, one file at a time:
//
//     DDA_LIST_FILES  GetListPath, then FileListComplete with the listing
//     DDA_OPEN        GetOpenName, then OpenComplete (an invalid file id fails with openFailed)
//     DDA_READ        GetReadParameters on the open file, then ReadComplete (a failed read fails
//                     with readFailed)
//     DDA_CLOSE       closes the open file, then CloseComplete
//     DDA_COMPLETE    the chain is done: FinishDelegatedLoad ends the load
//     DDA_FAILED      the load fails
//
// A delegate changes to the next one in its CloseComplete, by calling the unit's own start (which
// calls BeginDelegate) and returning what it returns.
class DelegatedLoadingDecoder : public FormatDecoder {
public:
    struct LoadingTexts {
        const char* openFailed;
        const char* readFailed;
    };

    DelegatedLoadingDecoder(const DecoderRow& row, LoadingTexts texts) : FormatDecoder(row), texts(texts) {}

    // The running delegate's progress, a fraction of its own work. By default passed on as it is;
    // a unit weighs it by the stage.
    virtual void ReportDelegateProgress(double fraction) { ReportProgress(fraction); }

    int32_t LoadingFileId() const { return loadingFileId; }
    uint64_t LoadingFileSize() const { return loadingFileSize; }

protected:
    // Makes `delegate` the running one and returns its first action, not yet carried out.
    DecoderAction BeginDelegate(LoadingDelegate* delegate, const char* loadPath) {
        loadingDelegate = delegate;
        return delegate->Start(loadPath);
    }
    // Carries out the actions of the running delegate, starting with `action`.
    DecoderAction RunDelegate(DecoderAction action);
    LoadingDelegate* RunningDelegate() const { return loadingDelegate; }
    // Forgets the running delegate and the open file's id: part of the unit's ForgetRecording.
    void ForgetDelegatedLoad();
    // The last delegate answered DDA_COMPLETE: the unit's end of the load, inside a completion.
    virtual DecoderAction FinishDelegatedLoad() = 0;

private:
    DecoderAction OnListed(bool ok, FileList& files);
    DecoderAction OnOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction OnRead(bool ok, ByteView bytes);
    DecoderAction OnClosed(int32_t fileId);

    LoadingTexts texts;
    LoadingDelegate* loadingDelegate = nullptr;
    int32_t loadingFileId = -1;
    uint64_t loadingFileSize = 0;
};

} // namespace Vorn::Vorncast::Decoders
