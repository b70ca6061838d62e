#include "formats/shared/LoadingDelegate.h"

#include "model/support/LogLevels.h"

#include <cstdarg>
#include <cstring>

namespace Vorn::Vorncast::Decoders {

DecoderAction LoadingDelegate::InvalidState(const char* operation) {
    owner.Log(LogCore, "%s::%s Invalid loading state\n", className, operation);
    return DDA_FAILED;
}

void LoadingDelegate::GetListPath(char* directory, char* mask, int32_t* depth) {
    InvalidState("GetListPath");
    directory[0] = '\0';
    mask[0] = '\0';
    *depth = 0;
}

DecoderAction LoadingDelegate::FileListComplete(bool, FileList&) {
    return InvalidState("FileListComplete");
}

void LoadingDelegate::GetOpenName(char* name) {
    InvalidState("GetOpenName");
    name[0] = '\0';
}

DecoderAction LoadingDelegate::OpenComplete(int32_t, uint64_t) {
    return DDA_READ;
}

void LoadingDelegate::GetReadParameters(uint64_t* offset, uint32_t* size) {
    *offset = 0;
    *size = 0;
}

DecoderAction LoadingDelegate::ReadComplete(ByteView) {
    return InvalidState("ReadComplete");
}

DecoderAction LoadingDelegate::Fail(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    owner.LogV(LogCore, format, arguments);
    va_end(arguments);
    return DDA_FAILED;
}

void LoadingDelegate::Progress(double fraction) {
    owner.ReportDelegateProgress(fraction);
}

// ---- the owner ----

DecoderAction DelegatedLoadingDecoder::RunDelegate(DecoderAction action) {
    if (loadingDelegate == nullptr) {
        return action == DDA_FAILED ? DecoderFailure() : action;
    }
    char directory[MaxPathLength] = {};
    char mask[MaxPathLength] = {};
    int32_t depth = 0;
    uint64_t offset = 0;
    uint32_t size = 0;
    switch (action) {
    case DDA_LIST_FILES:
        loadingDelegate->GetListPath(directory, mask, &depth);
        return ListFiles(directory, mask, depth, &DelegatedLoadingDecoder::OnListed);
    case DDA_OPEN:
        loadingDelegate->GetOpenName(directory);
        return Open(directory, &DelegatedLoadingDecoder::OnOpened, nullptr);
    case DDA_READ:
        loadingDelegate->GetReadParameters(&offset, &size);
        return TryRead(loadingFileId, offset, size, &DelegatedLoadingDecoder::OnRead);
    case DDA_CLOSE:
        if (loadingFileId == -1) {
            return RunDelegate(loadingDelegate->CloseComplete(-1));
        }
        return Close(loadingFileId, &DelegatedLoadingDecoder::OnClosed);
    case DDA_COMPLETE:
        loadingDelegate = nullptr;
        return FinishDelegatedLoad();
    case DDA_FAILED:
        loadingDelegate = nullptr;
        return DecoderFailure();
    default:
        return action;
    }
}

DecoderAction DelegatedLoadingDecoder::OnListed(bool ok, FileList& files) {
    return RunDelegate(loadingDelegate->FileListComplete(ok, files));
}

DecoderAction DelegatedLoadingDecoder::OnOpened(int32_t fileId, uint64_t fileSize) {
    loadingFileId = fileId;
    loadingFileSize = fileSize;
    if (fileId == -1) {
        return Fail("%s", texts.openFailed);
    }
    return RunDelegate(loadingDelegate->OpenComplete(fileId, fileSize));
}

DecoderAction DelegatedLoadingDecoder::OnRead(bool ok, ByteView bytes) {
    if (!ok) {
        return Fail("%s", texts.readFailed);
    }
    return RunDelegate(loadingDelegate->ReadComplete(bytes));
}

DecoderAction DelegatedLoadingDecoder::OnClosed(int32_t fileId) {
    loadingFileId = -1;
    loadingFileSize = 0;
    return RunDelegate(loadingDelegate->CloseComplete(fileId));
}

void DelegatedLoadingDecoder::ForgetDelegatedLoad() {
    loadingDelegate = nullptr;
    loadingFileId = -1;
    loadingFileSize = 0;
}

} // namespace Vorn::Vorncast::Decoders
