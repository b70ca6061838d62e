#pragma once

#include <cstdint>
#include <string_view>

namespace Vorn::Vorncast::Decoders {

// A decimal number as recorders write it into text fields: spaces before it, an optional sign,
// then digits up to the first other character (as "%lld" reads it, without its locale). False, with
// `value` 0, when no digit follows. Digits beyond the 64-bit range wrap.
constexpr bool ParseDecimal(std::string_view text, int64_t* value) {
    size_t at = 0;
    while (at < text.size() && (text[at] == ' ' || (text[at] >= '\t' && text[at] <= '\r'))) {
        ++at;
    }
    bool negative = at < text.size() && text[at] == '-';
    at += at < text.size() && (text[at] == '-' || text[at] == '+') ? 1 : 0;
    uint64_t magnitude = 0;
    size_t digits = 0;
    for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at, ++digits) {
        magnitude = magnitude * 10 + static_cast<uint64_t>(text[at] - '0');
    }
    *value = digits == 0 ? 0 : static_cast<int64_t>(negative ? 0 - magnitude : magnitude);
    return digits > 0;
}

} // namespace Vorn::Vorncast::Decoders
