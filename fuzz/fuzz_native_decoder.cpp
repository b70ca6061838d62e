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
constexpr const char* Guid = "{760D2C01-30F2-40c1-BF16-529CA2FBC5E0}";
constexpr int Variant = 2;
constexpr const char* Folder = "/fuzz/";
constexpr const char* Stem = "KD";
constexpr const char* Extension = "bix";
constexpr NativePlayOptions Options{NativePlayOptions::FirstSeekAndBack, 60};
#elif defined(FUZZ_NATIVE_DARLEX)
constexpr const char* Guid = "{b672c4bd-2e7f-4b58-a943-929eaa3aa28e}";
constexpr int Variant = 1;
constexpr const char* Folder = "/fuzz/";
constexpr const char* Stem = "REC";
constexpr const char* Extension = "VID";
constexpr NativePlayOptions Options{NativePlayOptions::FirstOnly, 60};
#else
// The manager's IFO file, the title sets' IFO files and their VOBs.
constexpr const char* Guid = "{508C3FE8-0034-4216-8E06-0020B1619331}";
constexpr int Variant = -1;
constexpr const char* Folder = "/fuzz/VIDEO_TS/";
constexpr const char* Stem = "VIDEO_TS";
constexpr const char* Extension = "IFO";
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
    for (const auto& file : Vorn::Testing::SplitFileSet(data, size, Stem, Extension, MaxFiles)) {
        files.AddFile(Folder + file.name, file.bytes);
    }
    Vorn::FileSource::SetCurrent(&files);
    static const VcGuid guid = [] {
        VcGuid parsed{};
        Vorn::ParseGuid(Guid, &parsed);
        return parsed;
    }();
    Vorn::Testing::PlayNative(collection, guid, Variant, std::string(Folder) + Stem + "." + Extension,
                              Options, [](const char*, int status) { return status; });
    Vorn::FileSource::SetCurrent(nullptr);
    return 0;
}
