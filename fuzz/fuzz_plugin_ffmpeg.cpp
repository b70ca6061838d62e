// Fuzz target for the "FFmpeg container" import plug-in, loaded by the library from the plug-ins of
// its build: the first byte of the input chooses the file's extension, the rest is the file. It is
// queried, loaded, walked frame by frame with pictures and sought, through the exported functions,
// as a player would.
#include "fixtures/NativePlay.h"

#include <vorncast/VorncastDecoders.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <unistd.h>

constexpr const char* Extensions[] = {"dav", "ts", "h264", "mkv", "mp4", "mov", "flv", "mpg"};

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) {
        return 0;
    }
    const int collection = Vorn::Testing::SharedCollection(FFMPEG_PLUGIN_ROOT);
    const std::string path = "/tmp/fuzz_plugin_ffmpeg_" + std::to_string(getpid()) + "." +
                             Extensions[data[0] % (sizeof Extensions / sizeof *Extensions)];
    FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) {
        return 0;
    }
    std::fwrite(data + 1, 1, size - 1, file);
    std::fclose(file);
    // Only the plug-in's decoder: the built-in ones have targets of their own.
    VcPublicDecoderInfo entry{};
    DecoderCollection_FindDecoderInfoByName(collection, "FFmpeg container", -1, -1, 0, 0, 0, &entry);
    Vorn::Testing::PlayNative(collection, entry.guid, -1, path, {Vorn::Testing::NativePlayOptions::Every, 60},
                              [](const char*, int status) { return status; });
    std::remove(path.c_str());
    return 0;
}
