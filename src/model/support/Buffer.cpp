#include "model/support/Buffer.h"

#include <cstring>

namespace Vorn {

Buffer::Buffer(int32_t size) {
    Hold(new BufferValue);
    SetSize(size > 0 ? size : 0);
}

Buffer::Buffer(const char* text) {
    Hold(new BufferValue);
    if (text != nullptr) {
        auto length = static_cast<int32_t>(std::strlen(text));
        SetSize(length + 1);
        std::memcpy(value->data, text, static_cast<size_t>(length) + 1);
    }
}

Buffer Buffer::FromBytes(const void* bytes, int32_t count) {
    Buffer buffer(count + 1);
    if (count > 0 && bytes != nullptr) {
        std::memcpy(buffer.value->data, bytes, static_cast<size_t>(count));
    }
    return buffer;
}

Buffer::Buffer(const Buffer& other) : offset(other.offset) {
    Hold(other.value);
}

Buffer& Buffer::operator=(const Buffer& other) {
    if (value != other.value) {
        BufferValue* old = value;
        value = nullptr;
        Hold(other.value);
        if (old != nullptr) {
            old->ReleaseReference();
        }
    }
    offset = other.offset;
    return *this;
}

Buffer::~Buffer() {
    Drop();
}

void Buffer::Hold(BufferValue* newValue) {
    value = newValue;
    if (value != nullptr) {
        value->AddReference();
    }
}

void Buffer::Drop() {
    if (value != nullptr) {
        value->ReleaseReference();
        value = nullptr;
    }
}

bool Buffer::SetSize(int32_t size) {
    if (size < 0) {
        return false;
    }
    if (value == nullptr) {
        Hold(new BufferValue);
    }
    if (size > 0 && size == value->size) {
        std::memset(value->data, 0, static_cast<size_t>(size));
        return true;
    }
    delete[] value->data;
    value->data = nullptr;
    value->size = 0;
    if (size > 0) {
        value->data = new uint8_t[static_cast<size_t>(size)]();
        value->size = size;
    }
    return true;
}

uint8_t* Buffer::Data() const {
    if (value == nullptr || value->size < 1) {
        return nullptr;
    }
    return value->data + offset;
}

int32_t Buffer::Size() const {
    return value != nullptr ? value->size : 0;
}

int32_t Buffer::TerminatedLength() const {
    const uint8_t* data = Data();
    int32_t length = Length();
    if (data == nullptr || length <= 0) {
        return -1;
    }
    const void* end = std::memchr(data, 0, static_cast<size_t>(length));
    return end != nullptr ? static_cast<int32_t>(static_cast<const uint8_t*>(end) - data) : -1;
}

} // namespace Vorn
