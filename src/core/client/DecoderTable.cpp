#include "core/client/DecoderTable.h"

#include <cstdio>
#include <cstring>

namespace Vorn::Vorncast::Decoders {

namespace {

struct Objects {
    BaseDecoder* decoders[DigitalDecoderCount];

    Objects() {
        const DecoderRow* rows = DigitalDecoderRows();
        for (int32_t index = 0; index < DigitalDecoderCount; ++index) {
            decoders[index] = rows[index].create(rows[index]);
        }
    }
};

// Built on first use and never destroyed: decoders may hold threads and libraries that must not
// be torn down while the process exits.
Objects& Table() {
    static Objects* objects = new Objects();
    return *objects;
}

bool HasGuid(BaseDecoder* decoder, const Guid& guid) {
    if (decoder == nullptr) {
        return false;
    }
    const char* text = nullptr;
    decoder->GetDecoderGuid(&text);
    if (text == nullptr) {
        return false;
    }
    char braced[64];
    std::snprintf(braced, sizeof(braced), "{%s}", text);
    Guid parsed;
    return ParseGuid(braced, &parsed) && SameGuid(parsed, guid);
}

} // namespace

BaseDecoder* DecoderTable::At(int32_t index) {
    if (index < 0 || index >= DigitalDecoderCount) {
        return nullptr;
    }
    return Table().decoders[index];
}

const DecoderRow* DecoderTable::RowAt(int32_t index) {
    if (index < 0 || index >= DigitalDecoderCount) {
        return nullptr;
    }
    return &DigitalDecoderRows()[index];
}

int32_t DecoderTable::IndexOf(const Guid& guid) {
    for (int32_t index = 0; index < DigitalDecoderCount; ++index) {
        if (HasGuid(Table().decoders[index], guid)) {
            return index;
        }
    }
    return -1;
}

BaseDecoder* DecoderTable::Find(const Guid& guid) {
    return At(IndexOf(guid));
}

int32_t DecoderTable::WaitObjectCount() {
    int32_t count = 0;
    for (BaseDecoder* decoder : Table().decoders) {
        if (decoder != nullptr) {
            count += decoder->GetWaitObjectCount();
        }
    }
    return count;
}

WaitObject DecoderTable::GetWaitObject(int32_t index) {
    if (index < 0) {
        return nullptr;
    }
    for (BaseDecoder* decoder : Table().decoders) {
        if (decoder == nullptr) {
            continue;
        }
        int32_t count = decoder->GetWaitObjectCount();
        if (index < count) {
            return decoder->GetWaitObject(index);
        }
        index -= count;
    }
    return nullptr;
}

BaseDecoder* DecoderTable::Swap(int32_t index, BaseDecoder* decoder) {
    if (index < 0 || index >= DigitalDecoderCount) {
        return nullptr;
    }
    BaseDecoder* previous = Table().decoders[index];
    Table().decoders[index] = decoder;
    return previous;
}

Guid GuidFromWords(uint32_t word0, uint32_t word1, uint32_t word2, uint32_t word3) {
    const uint32_t words[4] = {word0, word1, word2, word3};
    Guid guid;
    static_assert(sizeof(guid) == sizeof(words));
    std::memcpy(&guid, words, sizeof(guid));
    return guid;
}

void WordsFromGuid(const Guid& guid, uint32_t words[4]) {
    std::memcpy(words, &guid, sizeof(Guid));
}

} // namespace Vorn::Vorncast::Decoders
