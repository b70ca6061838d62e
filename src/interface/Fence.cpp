#include "interface/Fence.h"

#include <cstring>

namespace Vorn::Vorncast {

void EnterFence() {
    LibraryState& library = Library();
    if (!library.initialised) {
        __builtin_trap();
    }
    uint32_t thread = CurrentThreadId();
    if (library.guardThread == NoThread) {
        library.guardThread = thread;
    } else if (library.guardThread != thread) {
        __builtin_trap();
    }
}

int ReportSeException(const char* file, int line, const SeException& fault) {
    return SetLastError(UnhandledException, file, line, "SeException with code %d finally handled\n",
                        fault.code);
}

int ReportCppException(const char* file, int line) {
    return SetLastError(UnhandledException, file, line, "C++ exception finally handled\n");
}

int CopyTextTwoCall(const Buffer& source, int* size, char* text) {
    int32_t length = source.TerminatedLength();
    const char* bytes = length < 0 ? "" : source.Text();
    int needed = (length < 0 ? 0 : length) + 1;
    if (size == nullptr) {
        return InvalidArgument;
    }
    if (text == nullptr) {
        *size = needed;
    } else if (*size >= needed) {
        std::memcpy(text, bytes, static_cast<size_t>(needed));
    }
    return Success;
}

} // namespace Vorn::Vorncast
