#include "native/NativeFailure.h"

#include "interface/LibraryFrame.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace Vorn::Vorncast {

int NativeFail(const char* sourceFile, int line, int status, const char* format, ...) {
    char text[1024];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    const size_t length = std::strlen(text);
    if (length > 0 && text[length - 1] == '\n') {
        text[length - 1] = '\0';
    }
    Log(sourceFile, line, LogCore, "%s\n", text);
    return SetLastError(status, sourceFile, line, "%s", text);
}

} // namespace Vorn::Vorncast
