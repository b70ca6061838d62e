// Fuzz target for a native decoder chosen at build time (FUZZ_NATIVE_KODICOM, FUZZ_NATIVE_DARLEX or
// FUZZ_NATIVE_DVD): the input is its file set (the files named by the pieces of the input) served from
// memory, queried, loaded and played through the exported functions as a player would.
#include "fixtures/NativePlay.h"

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
    const int collection = Vorn::Testing::SharedCollection();
    if (collection == 0) {
        return 0;
    }
    Vorn::Testing::PlayNative(
        collection, Native, Vorn::Testing::SplitFileSet(data, size, Native.stem, Native.extension, MaxFiles),
        Options, [](const char*, int status) { return status; });
    return 0;
}
