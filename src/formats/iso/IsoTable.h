#pragma once

#include "core/binary/ByteView.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>

namespace Vorn::Vorncast::Decoders {

// The rows of one table of the movie tree. Capacity grows by a fixed number of rows when full;
// a parser that knows the final count reserves it first, so that a long table is not copied
// over and over.
template <class T> class IsoTable {
public:
    explicit IsoTable(size_t growth = 10) : growth(growth) {}
    IsoTable(const IsoTable&) = delete;
    IsoTable& operator=(const IsoTable&) = delete;

    void Clear() {
        rows.reset();
        count = 0;
        capacity = 0;
    }
    void Reserve(size_t rowCount) {
        if (rowCount > capacity) {
            Reallocate(rowCount);
        }
    }
    void Add(T row) {
        if (count == capacity) {
            Reallocate(capacity + growth);
        }
        rows[count++] = std::move(row);
    }

    size_t Count() const { return count; }
    size_t Capacity() const { return capacity; }
    bool Empty() const { return count == 0; }
    const T& operator[](size_t index) const { return rows[index]; }
    T& operator[](size_t index) { return rows[index]; }
    // Null outside the table.
    const T* At(int64_t index) const {
        return index >= 0 && static_cast<uint64_t>(index) < count ? &rows[static_cast<size_t>(index)]
                                                                  : nullptr;
    }
    const T& Last() const { return rows[count - 1]; }

private:
    void Reallocate(size_t newCapacity) {
        std::unique_ptr<T[]> grown(new T[newCapacity]());
        for (size_t index = 0; index < count; ++index) {
            grown[index] = std::move(rows[index]);
        }
        rows = std::move(grown);
        capacity = newCapacity;
    }

    std::unique_ptr<T[]> rows;
    size_t count = 0;
    size_t capacity = 0;
    size_t growth;
};

// A copied run of bytes that the holder owns.
class OwnedBytes {
public:
    OwnedBytes() = default;
    OwnedBytes(const uint8_t* bytes, size_t length) { Assign(bytes, length); }
    OwnedBytes(const OwnedBytes& other) { Assign(other.Data(), other.Length()); }
    OwnedBytes& operator=(const OwnedBytes& other) {
        if (this != &other) {
            Assign(other.Data(), other.Length());
        }
        return *this;
    }
    OwnedBytes(OwnedBytes&&) = default;
    OwnedBytes& operator=(OwnedBytes&&) = default;

    void Assign(const uint8_t* bytes, size_t length) {
        if (bytes == nullptr || length == 0) {
            Clear();
            return;
        }
        std::unique_ptr<uint8_t[]> copy(new uint8_t[length]);
        std::memcpy(copy.get(), bytes, length);
        data = std::move(copy);
        size = length;
    }
    // The bytes and a zero behind them, so that they read as a text.
    void AssignText(ByteView text) {
        std::unique_ptr<uint8_t[]> copy(new uint8_t[text.Size() + 1]);
        std::copy(text.begin(), text.end(), copy.get());
        copy[text.Size()] = 0;
        data = std::move(copy);
        size = text.Size() + 1;
    }
    void Clear() {
        data.reset();
        size = 0;
    }

    const uint8_t* Data() const { return data.get(); }
    size_t Length() const { return size; }
    bool Empty() const { return size == 0; }

private:
    std::unique_ptr<uint8_t[]> data;
    size_t size = 0;
};

} // namespace Vorn::Vorncast::Decoders
