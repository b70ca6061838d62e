// The import plug-in "FFmpeg container": containers that libavformat reads and that no built-in
// decoder of the library takes, offered behind all of them.
#include "FfmpegDecoder.h"

#include "model/plugin/VorncastDecoderPlugin.h"

extern "C" {
#include <libavformat/version.h>
#include <libavutil/log.h>
}

#include <cstdio>

#define PLUGIN_EXPORT extern "C" __attribute__((visibility("default")))

using namespace Vorn::Vorncast;

namespace {

Decoder* CreateFfmpegDecoder() {
    return new FfmpegPlugin::FfmpegDecoder;
}

// Texts of the entry, valid while the plug-in is loaded.
char decoderName[] = "FFmpeg container";
char decoderPatterns[] = "";

} // namespace

PLUGIN_EXPORT void GetPluginID(void*) {}

PLUGIN_EXPORT int GetPluginVersion() {
    return 1;
}

PLUGIN_EXPORT int GetPluginName(char* text, int capacity) {
    return std::snprintf(text, static_cast<size_t>(capacity), "FFmpeg containers (%s)", LIBAVFORMAT_IDENT);
}

PLUGIN_EXPORT int GetPluginDeveloperName(char* text, int capacity) {
    return std::snprintf(text, static_cast<size_t>(capacity), "Vorncast");
}

PLUGIN_EXPORT int DecoderCount() {
    return 1;
}

PLUGIN_EXPORT int GetDecoderInfoByIndex(int index, DecoderInfo* info) {
    if (index != 0) {
        return VC_InvalidArgument;
    }
    *info = DecoderInfo{};
    info->guid = {0x6C1E2F3A, 0x8D47, 0x4B19, {0xA6, 0x5E, 0x0F, 0xF3, 0x9E, 0xC0, 0x7A, 0x11}};
    info->name = decoderName;
    info->extensions = FfmpegPlugin::ContainerExtensions;
    info->patterns = decoderPatterns;
    info->available = 1;
    info->container = 1;
    info->creator = CreateFfmpegDecoder;
    return VC_Success;
}

PLUGIN_EXPORT const char* LastError() {
    return "";
}

// FFmpeg's own console messages about damaged input stay quiet, as in the library.
PLUGIN_EXPORT int Initialise(VcLogCallback) {
    av_log_set_level(AV_LOG_QUIET);
    return VC_Success;
}

PLUGIN_EXPORT int GetMinimumRuntimeVersion(int* major, int* minor) {
    *major = 3;
    *minor = 4;
    return VC_Success;
}
