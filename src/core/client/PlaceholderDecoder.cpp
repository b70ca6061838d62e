#include "core/client/PlaceholderDecoder.h"

#include <strings.h>

#include <cstring>

namespace Vorn::Vorncast::Decoders {

PlaceholderDecoder::PlaceholderDecoder(const DecoderRow& row) : row(row) {
    multiFileFlag = (row.flags & RowMultiFile) != 0 ? 1 : 0;
    infoFlagC = (row.flags & RowContainer) != 0 ? 1 : 0;
    infoFlagD = (row.flags & RowManual) != 0 ? 1 : 0;
    filePatternCount = row.patternCount;
}

bool PlaceholderDecoder::GetImage(int32_t bufferSize, uint8_t* buffer) {
    if (buffer != nullptr && bufferSize > 0) {
        std::memset(buffer, 0, static_cast<size_t>(bufferSize));
    }
    return false;
}

const char* PlaceholderDecoder::GetExtensions(int32_t* count) {
    if (count != nullptr) {
        *count = CountExtensions(row.extensions);
    }
    return row.extensions;
}

bool PlaceholderDecoder::IsExtension(const char* extension) {
    return ExtensionListHas(row.extensions, extension);
}

const char* PlaceholderDecoder::GetPathPattern(int32_t index) {
    if (row.patterns[0] == nullptr) {
        return BaseDecoder::GetPathPattern(index);
    }
    if (index < 0 || index >= MaxRowPatterns || row.patterns[index] == nullptr) {
        return "";
    }
    return row.patterns[index];
}

DecoderAction PlaceholderDecoder::LoadingCore() {
    Log(0, "%s::LoadingCore failed: no decoder for the format \"%s\" is built yet\n", row.className,
        row.name);
    return DDA_FAILED;
}

BaseDecoder* CreatePlaceholderDecoder(const DecoderRow& row) {
    return new PlaceholderDecoder(row);
}

int32_t CountExtensions(const char* extensions) {
    if (extensions == nullptr || extensions[0] == '\0') {
        return 0;
    }
    int32_t count = 1;
    for (const char* c = extensions; *c != '\0'; ++c) {
        if (*c == ';') {
            ++count;
        }
    }
    return count;
}

bool ExtensionListHas(const char* extensions, const char* extension) {
    if (extensions == nullptr || extension == nullptr) {
        return false;
    }
    size_t length = std::strlen(extension);
    const char* item = extensions;
    while (*item != '\0') {
        const char* end = std::strchr(item, ';');
        size_t itemLength = end != nullptr ? static_cast<size_t>(end - item) : std::strlen(item);
        if (itemLength == length && length > 0 && strncasecmp(item, extension, length) == 0) {
            return true;
        }
        if (end == nullptr) {
            break;
        }
        item = end + 1;
    }
    return false;
}

} // namespace Vorn::Vorncast::Decoders
