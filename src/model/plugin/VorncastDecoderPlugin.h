#pragma once

// The contract of an import plug-in: a shared library named PluginDecoder*.so, placed in a folder
// below <root>/plugins/import, that exports these nine functions with C linkage. Its decoders derive
// from Vorn::Vorncast::Decoder and are made by the `creator` of the entries it offers; the texts of
// those entries must stay valid while the library is loaded.

#include "model/decoder/DecoderInfo.h"

extern "C" {
using PluginGetPluginId = void (*)(void* identity);
using PluginGetPluginVersion = int (*)();
using PluginGetPluginName = int (*)(char* name, int capacity);
using PluginGetPluginDeveloperName = int (*)(char* name, int capacity);
using PluginDecoderCount = int (*)();
using PluginGetDecoderInfoByIndex = int (*)(int index, Vorn::Vorncast::DecoderInfo* info);
using PluginLastError = const char* (*)();
using PluginInitialise = int (*)(VcLogCallback log);
using PluginGetMinimumRuntimeVersion = int (*)(int* major, int* minor);
}

namespace Vorn::Vorncast {

// The nine functions bound from one plug-in, in binding order.
struct DecoderPlugin {
    PluginGetPluginId getPluginId;
    PluginGetPluginVersion getPluginVersion;
    PluginGetPluginName getPluginName;
    PluginGetPluginDeveloperName getPluginDeveloperName;
    PluginDecoderCount decoderCount;
    PluginGetDecoderInfoByIndex getDecoderInfoByIndex;
    PluginLastError lastError;
    PluginInitialise initialise;
    PluginGetMinimumRuntimeVersion getMinimumRuntimeVersion;
};

} // namespace Vorn::Vorncast
