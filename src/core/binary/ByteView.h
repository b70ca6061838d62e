#pragma once

#include "core/binary/Bcd.h"
#include "core/binary/ByteOrder.h"
#include "model/support/Buffer.h"
#include "model/support/Calendar.h"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>

namespace Vorn::Vorncast::Decoders {

// Copies a fixed-length text field: at most `count` bytes, up to the first NUL, cut to fit `out`,
// which is always terminated. Returns the length copied. `outSize` must be at least 1.
size_t CopyText(char* out, size_t outSize, const uint8_t* field, size_t count);

// A read-only, bounds-checked window on bytes that someone else owns.
//
// Every reader comes in two forms: `U32LE(at)` gives 0 for a field that does not lie wholly
// inside the view; `U32LE(at, &value)` reports that with false (and sets the value to 0).
class ByteView {
public:
    static constexpr size_t npos = static_cast<size_t>(-1);

    constexpr ByteView() = default;
    constexpr ByteView(const uint8_t* data, size_t size) : data(data), size(data != nullptr ? size : 0) {}
    // Any one-byte element type (char, std::byte, int8_t); a null pointer gives an empty view.
    template <class Byte>
    requires(sizeof(Byte) == 1 && !std::is_same_v<Byte, uint8_t>) ByteView(const Byte* data, size_t size)
        : ByteView(reinterpret_cast<const uint8_t*>(data), size) {}
    // The buffer's bytes from its read offset on.
    explicit ByteView(const Buffer& buffer)
        : ByteView(buffer.Data(), buffer.Length() > 0 ? static_cast<size_t>(buffer.Length()) : 0) {}

    const uint8_t* Data() const { return data; }
    size_t Size() const { return size; }
    bool Empty() const { return size == 0; }
    const uint8_t* begin() const { return data; }
    const uint8_t* end() const { return data + size; }

    // True when `count` bytes from `at` lie inside the view.
    bool Has(size_t at, size_t count) const { return at <= size && count <= size - at; }
    // The address of `count` bytes at `at`, or null when they are not all inside.
    const uint8_t* Bytes(size_t at, size_t count) const { return Has(at, count) ? data + at : nullptr; }

    // `count` bytes from `at`, cut at the end of the view (empty past it).
    ByteView Sub(size_t at, size_t count) const;
    bool Sub(size_t at, size_t count, ByteView* out) const;
    // Everything from `at` on.
    ByteView From(size_t at) const { return Sub(at, npos); }

    // True when the bytes at `at` equal `tag`: "RIFF", or "\x00\x00\x01\xBA"sv (a tag holding NUL
    // bytes needs the sv suffix, or it ends at the first of them).
    bool Matches(size_t at, std::string_view tag) const;
    // The offset of the first occurrence of `pattern` at or after `from`, or npos.
    size_t Find(std::string_view pattern, size_t from = 0) const;

    uint8_t U8(size_t at) const { return Get<uint8_t, ByteOrder::Little>(at); }
    // 4-bit field `index` of a run of them, two a byte, the high half first; 0 past the end.
    uint8_t U4(size_t index) const {
        const uint8_t pair = U8(index / 2);
        return index % 2 == 0 ? pair >> 4 : pair & 0x0F;
    }
    int8_t I8(size_t at) const { return Get<int8_t, ByteOrder::Little>(at); }
    uint16_t U16LE(size_t at) const { return Get<uint16_t, ByteOrder::Little>(at); }
    uint16_t U16BE(size_t at) const { return Get<uint16_t, ByteOrder::Big>(at); }
    int16_t I16LE(size_t at) const { return Get<int16_t, ByteOrder::Little>(at); }
    int16_t I16BE(size_t at) const { return Get<int16_t, ByteOrder::Big>(at); }
    uint32_t U32LE(size_t at) const { return Get<uint32_t, ByteOrder::Little>(at); }
    uint32_t U32BE(size_t at) const { return Get<uint32_t, ByteOrder::Big>(at); }
    int32_t I32LE(size_t at) const { return Get<int32_t, ByteOrder::Little>(at); }
    int32_t I32BE(size_t at) const { return Get<int32_t, ByteOrder::Big>(at); }
    uint64_t U64LE(size_t at) const { return Get<uint64_t, ByteOrder::Little>(at); }
    uint64_t U64BE(size_t at) const { return Get<uint64_t, ByteOrder::Big>(at); }
    int64_t I64LE(size_t at) const { return Get<int64_t, ByteOrder::Little>(at); }
    int64_t I64BE(size_t at) const { return Get<int64_t, ByteOrder::Big>(at); }

    bool U8(size_t at, uint8_t* value) const { return Get<ByteOrder::Little>(at, value); }
    bool I8(size_t at, int8_t* value) const { return Get<ByteOrder::Little>(at, value); }
    bool U16LE(size_t at, uint16_t* value) const { return Get<ByteOrder::Little>(at, value); }
    bool U16BE(size_t at, uint16_t* value) const { return Get<ByteOrder::Big>(at, value); }
    bool I16LE(size_t at, int16_t* value) const { return Get<ByteOrder::Little>(at, value); }
    bool I16BE(size_t at, int16_t* value) const { return Get<ByteOrder::Big>(at, value); }
    bool U32LE(size_t at, uint32_t* value) const { return Get<ByteOrder::Little>(at, value); }
    bool U32BE(size_t at, uint32_t* value) const { return Get<ByteOrder::Big>(at, value); }
    bool I32LE(size_t at, int32_t* value) const { return Get<ByteOrder::Little>(at, value); }
    bool I32BE(size_t at, int32_t* value) const { return Get<ByteOrder::Big>(at, value); }
    bool U64LE(size_t at, uint64_t* value) const { return Get<ByteOrder::Little>(at, value); }
    bool U64BE(size_t at, uint64_t* value) const { return Get<ByteOrder::Big>(at, value); }
    bool I64LE(size_t at, int64_t* value) const { return Get<ByteOrder::Little>(at, value); }
    bool I64BE(size_t at, int64_t* value) const { return Get<ByteOrder::Big>(at, value); }

    // A fixed-length text field of `count` bytes (see CopyText). Past the end `out` is "".
    bool Text(size_t at, size_t count, char* out, size_t outSize) const;
    template <size_t N> bool Text(size_t at, size_t count, char (&out)[N]) const {
        return Text(at, count, out, N);
    }

    // `count` bytes of BCD digits, the first byte most significant. False past the end, on a
    // nibble that is no digit, and for more digits than 64 bits hold.
    bool BcdRun(size_t at, size_t count, uint64_t* value) const;

    // A Windows SYSTEMTIME: eight little-endian u16 words. Zeroes past the end.
    SystemTime SystemTimeLE(size_t at) const;
    bool SystemTimeLE(size_t at, SystemTime* value) const;

private:
    template <class T, ByteOrder order> T Get(size_t at) const {
        return Has(at, sizeof(T)) ? Load<T, order>(data + at) : T{0};
    }
    template <ByteOrder order, class T> bool Get(size_t at, T* value) const {
        if (!Has(at, sizeof(T))) {
            *value = 0;
            return false;
        }
        *value = Load<T, order>(data + at);
        return true;
    }

    const uint8_t* data = nullptr;
    size_t size = 0;
};

// A cursor over a ByteView. A read, skip or seek that would pass the end fails: the reader then
// stays failed, keeps its position, and every later read gives 0 (or an empty result), so that a
// record is read straight through and `Ok()` is tested once at its end.
class ByteReader {
public:
    ByteReader() = default;
    explicit ByteReader(ByteView view, size_t position = 0) : view(view) { Seek(position); }

    const ByteView& View() const { return view; }
    size_t Position() const { return position; }
    size_t Size() const { return view.Size(); }
    size_t Remaining() const { return view.Size() - position; }
    bool AtEnd() const { return position == view.Size(); }
    bool Ok() const { return !failed; }
    bool Failed() const { return failed; }

    // Positions at or before the end are allowed (the end itself included).
    bool Seek(size_t newPosition);
    bool Skip(size_t count) { return Claim(count) != ByteView::npos; }

    uint8_t U8() { return Next<uint8_t, ByteOrder::Little>(); }
    int8_t I8() { return Next<int8_t, ByteOrder::Little>(); }
    uint16_t U16LE() { return Next<uint16_t, ByteOrder::Little>(); }
    uint16_t U16BE() { return Next<uint16_t, ByteOrder::Big>(); }
    int16_t I16LE() { return Next<int16_t, ByteOrder::Little>(); }
    int16_t I16BE() { return Next<int16_t, ByteOrder::Big>(); }
    uint32_t U32LE() { return Next<uint32_t, ByteOrder::Little>(); }
    uint32_t U32BE() { return Next<uint32_t, ByteOrder::Big>(); }
    int32_t I32LE() { return Next<int32_t, ByteOrder::Little>(); }
    int32_t I32BE() { return Next<int32_t, ByteOrder::Big>(); }
    uint64_t U64LE() { return Next<uint64_t, ByteOrder::Little>(); }
    uint64_t U64BE() { return Next<uint64_t, ByteOrder::Big>(); }
    int64_t I64LE() { return Next<int64_t, ByteOrder::Little>(); }
    int64_t I64BE() { return Next<int64_t, ByteOrder::Big>(); }

    // The next `count` bytes as a view of their own.
    ByteView Bytes(size_t count);
    // True, and past them, when the next bytes equal `tag`; otherwise false with nothing moved
    // and no failure, so that alternatives can be tried.
    bool SkipIfMatches(std::string_view tag);
    bool Text(size_t count, char* out, size_t outSize);
    template <size_t N> bool Text(size_t count, char (&out)[N]) { return Text(count, out, N); }
    // A run of BCD bytes (see ByteView::BcdRun); a nibble that is no digit also fails the reader.
    uint64_t BcdRun(size_t count);
    SystemTime SystemTimeLE();

private:
    // Claims `count` bytes: their offset, or npos after a failure.
    size_t Claim(size_t count) {
        if (failed || !view.Has(position, count)) [[unlikely]] {
            failed = true;
            return ByteView::npos;
        }
        size_t at = position;
        position += count;
        return at;
    }

    template <class T, ByteOrder order> T Next() {
        size_t at = Claim(sizeof(T));
        return at != ByteView::npos ? Load<T, order>(view.Data() + at) : T{0};
    }

    ByteView view;
    size_t position = 0;
    bool failed = false;
};

} // namespace Vorn::Vorncast::Decoders
