#include "codecs/vfw/VfwTypes.h"

#include <cctype>

namespace Vorn::Vorncast::Decoders {

namespace {

struct ResultRow {
    int32_t value;
    const char* name;
};

constexpr ResultRow ResultNames[] = {
    {ICERR_OK, "ICERR_OK"},
    {ICERR_DONTDRAW, "ICERR_DONTDRAW"},
    {ICERR_NEWPALETTE, "ICERR_NEWPALETTE"},
    {ICERR_GOTOKEYFRAME, "ICERR_GOTOKEYFRAME"},
    {ICERR_STOPDRAWING, "ICERR_STOPDRAWING"},
    {ICERR_UNSUPPORTED, "ICERR_UNSUPPORTED"},
    {ICERR_BADFORMAT, "ICERR_BADFORMAT"},
    {ICERR_MEMORY, "ICERR_MEMORY"},
    {ICERR_INTERNAL, "ICERR_INTERNAL"},
    {ICERR_BADFLAGS, "ICERR_BADFLAGS"},
    {ICERR_BADPARAM, "ICERR_BADPARAM"},
    {ICERR_BADSIZE, "ICERR_BADSIZE"},
    {ICERR_BADHANDLE, "ICERR_BADHANDLE"},
    {ICERR_CANTUPDATE, "ICERR_CANTUPDATE"},
    {ICERR_ABORT, "ICERR_ABORT"},
    {ICERR_ERROR, "ICERR_ERROR"},
    {ICERR_BADBITDEPTH, "ICERR_BADBITDEPTH"},
    {ICERR_BADIMAGESIZE, "ICERR_BADIMAGESIZE"},
};

} // namespace

FourCCText::FourCCText(uint32_t fourCC) {
    for (int i = 0; i < 4; ++i) {
        text[i] = static_cast<char>((fourCC >> (8 * i)) & 0xFF);
    }
    text[4] = '\0';
}

bool FourCCEqualIgnoringCase(uint32_t a, uint32_t b) {
    for (int i = 0; i < 4; ++i) {
        int left = static_cast<int>((a >> (8 * i)) & 0xFF);
        int right = static_cast<int>((b >> (8 * i)) & 0xFF);
        if (std::toupper(left) != std::toupper(right)) {
            return false;
        }
    }
    return true;
}

const char* VfwResultName(int32_t result) {
    for (const ResultRow& row : ResultNames) {
        if (row.value == result) {
            return row.name;
        }
    }
    return nullptr;
}

bool VfwResultIsGood(int32_t result, VfwMessage message) {
    return result == ICERR_OK || (result == ICERR_DONTDRAW && message == ICM_DECOMPRESS);
}

} // namespace Vorn::Vorncast::Decoders
