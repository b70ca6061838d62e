#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace Vorn::Vorncast::Decoders {

enum class ByteOrder { Little, Big };

namespace Detail {

template <class T> constexpr T SwapBytes(T value) {
    using Unsigned = std::make_unsigned_t<T>;
    auto bits = static_cast<Unsigned>(value);
    if constexpr (sizeof(T) == 2) {
        bits = __builtin_bswap16(bits);
    } else if constexpr (sizeof(T) == 4) {
        bits = __builtin_bswap32(bits);
    } else if constexpr (sizeof(T) == 8) {
        bits = __builtin_bswap64(bits);
    }
    return static_cast<T>(bits);
}

} // namespace Detail

// Loads an integer from unaligned bytes in the given order. No bounds check: for loops that have
// checked their range already; everything else reads through ByteView or ByteReader.
template <class T, ByteOrder order> inline T Load(const uint8_t* bytes) {
    static_assert(std::is_integral_v<T>);
    T value;
    std::memcpy(&value, bytes, sizeof(T));
    constexpr bool nativeIsLittle = std::endian::native == std::endian::little;
    if constexpr (sizeof(T) > 1 && (order == ByteOrder::Little) != nativeIsLittle) {
        value = Detail::SwapBytes(value);
    }
    return value;
}

// Stores an integer into unaligned bytes in the given order.
template <class T, ByteOrder order> inline void Store(uint8_t* bytes, T value) {
    static_assert(std::is_integral_v<T>);
    constexpr bool nativeIsLittle = std::endian::native == std::endian::little;
    if constexpr (sizeof(T) > 1 && (order == ByteOrder::Little) != nativeIsLittle) {
        value = Detail::SwapBytes(value);
    }
    std::memcpy(bytes, &value, sizeof(T));
}

// A 64-bit value from its two 32-bit halves, for records that store the halves apart or in the
// other order than the bytes.
constexpr uint64_t JoinWords(uint32_t high, uint32_t low) {
    return uint64_t{high} << 32 | low;
}

} // namespace Vorn::Vorncast::Decoders
