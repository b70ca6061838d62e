#pragma once

#include "model/support/Visibility.h"

#include "model/support/ReferenceCountObject.h"

#include <cstdint>

namespace Vorn {

// A reference-counted byte array with a read offset; also the system's string type (texts are
// stored with their terminator). Copies share the array: a write through one is seen by all.
class VORN_PLUGIN_API Buffer {
public:
    Buffer() = default;
    explicit Buffer(int32_t size);
    explicit Buffer(const char* text);
    // A copy of `count` bytes followed by a terminator.
    static Buffer FromBytes(const void* bytes, int32_t count);

    Buffer(const Buffer& other);
    Buffer& operator=(const Buffer& other);
    ~Buffer();

    // Negative sizes are refused. A size equal to the present one keeps the array and zeroes it;
    // any other size replaces it with a zeroed one. Old content is never kept.
    bool SetSize(int32_t size);

    uint8_t* Data() const;
    const char* Text() const { return reinterpret_cast<const char*>(Data()); }
    int32_t Size() const;
    int32_t Length() const { return Size() - offset; }
    int32_t Offset() const { return offset; }
    void SetOffset(int32_t value) { offset = value; }
    bool SharesArrayWith(const Buffer& other) const { return value != nullptr && value == other.value; }

    // Length of the text before its terminator, or -1 when no terminator lies inside the buffer.
    int32_t TerminatedLength() const;

private:
    class BufferValue : public ReferenceCountObject {
    public:
        ~BufferValue() override { delete[] data; }
        uint8_t* data = nullptr;
        int32_t size = 0;
    };

    void Hold(BufferValue* newValue);
    void Drop();

    BufferValue* value = nullptr;
    int32_t offset = 0;
};

} // namespace Vorn
