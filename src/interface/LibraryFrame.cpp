#include "interface/LibraryFrame.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <unistd.h>

namespace Vorn::Vorncast {

LibraryState& Library() {
    static LibraryState state;
    return state;
}

uint32_t CurrentThreadId() {
    return static_cast<uint32_t>(gettid());
}

int SetLastError(int status, const char* file, int line, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    va_list measure;
    va_copy(measure, arguments);
    int messageLength = std::vsnprintf(nullptr, 0, format, measure);
    va_end(measure);
    int suffixLength = std::snprintf(nullptr, 0, " (%s:%d)", file, line);
    if (messageLength < 0) {
        messageLength = 0;
    }

    Buffer& text = Library().lastError;
    int32_t size = messageLength + suffixLength + 1;
    text.SetOffset(0);
    text.SetSize(size);
    char* data = reinterpret_cast<char*>(text.Data());
    std::vsnprintf(data, static_cast<size_t>(size), format, arguments);
    va_end(arguments);
    std::snprintf(data + messageLength, static_cast<size_t>(size - messageLength), " (%s:%d)", file, line);
    return status;
}

int SetSuccess(const char* file, int line) {
    int length = std::snprintf(nullptr, 0, "Operation succeeded at %s:%d", file, line);
    Buffer& text = Library().lastError;
    text.SetOffset(0);
    text.SetSize(length + 1);
    std::snprintf(reinterpret_cast<char*>(text.Data()), static_cast<size_t>(length) + 1,
                  "Operation succeeded at %s:%d", file, line);
    return Success;
}

void Log(const char* file, int line, int level, const char* format, ...) {
    constexpr size_t MessageCapacity = 4096;
    auto message = std::make_unique<char[]>(MessageCapacity);
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(message.get(), MessageCapacity, format, arguments);
    va_end(arguments);
    VcLogCallback callback = Library().logCallback;
    if (callback == nullptr) {
        return;
    }
    // The host receives copies of its own, freed when it returns.
    const std::string messageCopy(message.get());
    const std::string fileCopy(file != nullptr ? file : "");
    callback(fileCopy.c_str(), line, level, messageCopy.c_str());
}

const char* LastErrorText() {
    const char* text = Library().lastError.Text();
    return text != nullptr ? text : "";
}

} // namespace Vorn::Vorncast
