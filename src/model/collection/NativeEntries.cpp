#include "model/collection/NativeEntries.h"

#include "legacy/LegacyDecoderHost.h"
#include "model/support/Guid.h"
#include "native/darlex/DarlexDecoder.h"
#include "native/dvd/DVDDecoder.h"
#include "native/kodicom/KodicomDecoder.h"

#include <dlfcn.h>

namespace Vorn::Vorncast {
namespace {

struct NativeRow {
    const char* name;
    const char* guid;
    uint8_t variant;
    const char* extensions;
    const char* patterns;
    uint32_t kind;
    DecoderCreator creator;
};

// The native decoders, in the order of the collection's last entries.
const NativeRow NativeRows[NativeEntryCount] = {
    {"Tecton Darlex (Tracked Frames Only)", "{b672c4bd-2e7f-4b58-a943-929eaa3aa28e}", 1, "vid", nullptr, 0,
     DarlexDecoder::Create},
    {"DVD Video", "{508C3FE8-0034-4216-8E06-0020B1619331}", 0, "ifo;vob", "VIDEO_TS.ifo||", 2,
     DVDDecoder::Create},
    {"Kodicom", "{760D2C01-30F2-40c1-BF16-529CA2FBC5E0}", 2, "bix;box;kif", "<a:+d1,0>.box||", 4,
     KodicomDecoder::Create},
};

} // namespace

DecoderInfo NativeEntry(int32_t index) {
    DecoderInfo info{};
    if (index < 0 || index >= NativeEntryCount) {
        return info;
    }
    const NativeRow& row = NativeRows[index];
    ParseGuid(row.guid, &info.guid);
    info.variant = row.variant;
    info.name = const_cast<char*>(row.name);
    info.patterns = const_cast<char*>(row.patterns);
    info.extensions = const_cast<char*>(row.extensions);
    info.available = 1;
    info.kind = row.kind;
    info.creator = row.creator;
    return info;
}

DecoderCreator DigitalDecoderCreator() {
    return LegacyDecoderHost::Create;
}

void ClosePluginLibrary(void* library) {
    if (library != nullptr) {
        dlclose(library);
    }
}

} // namespace Vorn::Vorncast
