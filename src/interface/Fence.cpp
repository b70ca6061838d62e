#include "interface/Fence.h"

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
    return SetLastError(UnhandledException, file, line, "SeException with code %d finally handled\n", fault.code);
}

int ReportCppException(const char* file, int line) {
    return SetLastError(UnhandledException, file, line, "C++ exception finally handled\n");
}

} // namespace Vorn::Vorncast
