// Start-up, shut-down, last-error text and version words of the library.
#include "interface/Fence.h"

#include <vorncast/VorncastDecoders.h>

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <cstring>

using namespace Vorn::Vorncast;

namespace {

constexpr const char* SourceFile = "DllInterface\\VorncastDecoders";

} // namespace

extern "C" VC_EXPORT int InitVorncastDecoders(VcInitRecord record) {
    LibraryState& library = Library();
    library.importPluginsEnabled = record.importPluginsEnabled;
    library.guardThread = NoThread;
    library.runtimeVersionMajor = 3;
    library.runtimeVersionMinor = 4;
    library.logCallback = record.logCallback;
    Log("Logger", 12, LogStartUp, "Logging callback passed into VorncastDecoders.dll\n");
    library.initialised = true;
    return Success;
}

extern "C" VC_EXPORT int CloseVorncastDecoders(void) {
    // Init holds nothing but the last-error text; objects with live handles stay the caller's.
    Library().lastError.SetSize(0);
    return Success;
}

extern "C" VC_EXPORT int GetVcLastError(uint32_t* size, char* text) {
    return Fence(SourceFile, __LINE__, FenceSteps{.defaultText = false}, [&]() -> int {
        const char* lastError = LastErrorText();
        uint32_t length = static_cast<uint32_t>(std::strlen(lastError)) + 1;
        if (text == nullptr) {
            if (size != nullptr) {
                *size = length;
            }
            return 1; // deliberately not 0: the size call
        }
        std::memcpy(text, lastError, length);
        return Success;
    });
}

extern "C" VC_EXPORT int GetIppLibVersion(uint32_t* major, uint32_t* minor, uint32_t* majorBuild,
                                          uint32_t* build) {
    unsigned version = avcodec_version();
    if (major != nullptr) {
        *major = AV_VERSION_MAJOR(version);
    }
    if (minor != nullptr) {
        *minor = AV_VERSION_MINOR(version);
    }
    if (majorBuild != nullptr) {
        *majorBuild = AV_VERSION_MICRO(version);
    }
    if (build != nullptr) {
        *build = 0;
    }
    return Success;
}

extern "C" VC_EXPORT int GetSDKVersion(uint32_t* major, uint32_t* minor, uint32_t* revision,
                                       uint32_t* build) {
    *major = 3;
    *minor = 4;
    *revision = 0;
    *build = 114;
    return Success;
}
