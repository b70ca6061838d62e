// An import plug-in built by the tests: one decoder, "Test Plug-in Decoder", whose load makes one track
// with one video stream. Compile definitions make its variants: PLUGIN_MINOR sets the runtime version it
// demands, PLUGIN_WITHOUT_LAST_ERROR leaves one of the nine functions out.
#include "model/decoder/Decoder.h"
#include "model/plugin/VorncastDecoderPlugin.h"

#include <cstdio>

#ifndef PLUGIN_MAJOR
#define PLUGIN_MAJOR 3
#endif
#ifndef PLUGIN_MINOR
#define PLUGIN_MINOR 4
#endif

using namespace Vorn::Vorncast;

namespace {

class PluginDecoder : public Decoder {
public:
    int Query(const Vorn::Buffer&, int32_t, QueryResult* result) override {
        result->canLoad = 1;
        return 0;
    }
    int Load(const Vorn::Buffer& url, ProgressCallback, MessageCallback, AbortOperation,
             int32_t* count) override {
        auto* track = new Track;
        track->SetName(Vorn::Buffer("plug-in track"));
        AddTrack(track);
        AddResource(url, 0);
        ++*count;
        return 0;
    }
    int Close() override { return 0; }
};

Decoder* CreatePluginDecoder() {
    return new PluginDecoder;
}

char name[] = "Test Plug-in Decoder";
char extensions[] = "tpd";
char patterns[] = "<n:c0>.tpd||";

} // namespace

extern "C" __attribute__((visibility("default"))) void GetPluginID(void*) {}
extern "C" __attribute__((visibility("default"))) int GetPluginVersion() {
    return 1;
}
extern "C" __attribute__((visibility("default"))) int GetPluginName(char* text, int capacity) {
    return std::snprintf(text, static_cast<size_t>(capacity), "Test plug-in %d.%d", PLUGIN_MAJOR,
                         PLUGIN_MINOR);
}
extern "C" __attribute__((visibility("default"))) int GetPluginDeveloperName(char* text, int capacity) {
    return std::snprintf(text, static_cast<size_t>(capacity), "Vorncast tests");
}
extern "C" __attribute__((visibility("default"))) int DecoderCount() {
    return 1;
}
extern "C" __attribute__((visibility("default"))) int GetDecoderInfoByIndex(int index, DecoderInfo* info) {
    if (index != 0) {
        return 1;
    }
    *info = DecoderInfo{};
    info->guid = {0x0C0FFEE0, 0x1234, 0x4321, {0xAB, 0xCD, 0x01, 0x23, 0x45, 0x67, 0x89, 0xAB}};
    info->name = name;
    info->extensions = extensions;
    info->patterns = patterns;
    info->available = 1;
    info->kind = 16;
    info->creator = CreatePluginDecoder;
    return 0;
}
#ifndef PLUGIN_WITHOUT_LAST_ERROR
extern "C" __attribute__((visibility("default"))) const char* LastError() {
    return "";
}
#endif
extern "C" __attribute__((visibility("default"))) int Initialise(VcLogCallback) {
    return 0;
}
extern "C" __attribute__((visibility("default"))) int GetMinimumRuntimeVersion(int* major, int* minor) {
    *major = PLUGIN_MAJOR;
    *minor = PLUGIN_MINOR;
    return 0;
}
