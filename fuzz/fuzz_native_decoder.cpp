// Fuzz target for a native decoder chosen at build time (FUZZ_NATIVE_KODICOM, FUZZ_NATIVE_DARLEX or
// FUZZ_NATIVE_DVD): the input is its file set (the files named by the pieces of the input) served from
// memory, queried, loaded and played through the exported functions as a player would.
#include "fixtures/FileSetBytes.h"
#include "fixtures/NativePlay.h"
#include "model/files/MemoryFileSource.h"
#include "model/support/Guid.h"

#include <vorncast/VorncastDecoders.h>

#include <string>

namespace {

using Vorn::Testing::NativePlayOptions;

#if defined(FUZZ_NATIVE_KODICOM)
constexpr const Vorn::Testing::NativeDecoder& Native = Vorn::Testing::NativeKodicom;
constexpr NativePlayOptions Options{NativePlayOptions::FirstSeekAndBack, 60};
#elif defined(FUZZ_NATIVE_DARLEX)
constexpr const Vorn::Testing::NativeDecoder& Native = Vorn::Testing::NativeDarlex;
constexpr NativePlayOptions Options{NativePlayOptions::FirstOnly, 60};
#else
constexpr const Vorn::Testing::NativeDecoder& Native = Vorn::Testing::NativeDvd;
constexpr NativePlayOptions Options{NativePlayOptions::Every, 120};
#endif
constexpr size_t MaxFiles = 8;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool initialised = [] {
        VcInitRecord record{};
        return InitVorncastDecoders(record) == VC_Success;
    }();
    static int collection = 0;
    if (!initialised || (collection == 0 && DecoderCollection_Create(nullptr, &collection) != VC_Success)) {
        return 0;
    }
    Vorn::MemoryFileSource files;
    for (const auto& file :
         Vorn::Testing::SplitFileSet(data, size, Native.stem, Native.extension, MaxFiles)) {
        files.AddFile(Native.folder + file.name, file.bytes);
    }
    Vorn::FileSource::SetCurrent(&files);
    static const VcGuid guid = [] {
        VcGuid parsed{};
        Vorn::ParseGuid(Native.guid, &parsed);
        return parsed;
    }();
    Vorn::Testing::PlayNative(collection, guid, Native.variant, Native.Url(), Options,
                              [](const char*, int status) { return status; });
    Vorn::FileSource::SetCurrent(nullptr);
    return 0;
}
