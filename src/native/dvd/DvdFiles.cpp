#include "native/dvd/DvdFiles.h"

#include "interface/LibraryFrame.h"
#include "model/support/Path.h"

#include <cctype>
#include <cstdarg>
#include <cstdio>

namespace Vorn::Vorncast {
namespace {

// The longest path the system takes, terminator excluded.
constexpr size_t MaxPathLength = 260;

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

} // namespace

bool ReadExactly(File& file, int64_t offset, int32_t count, std::vector<uint8_t>* bytes) {
    bytes->assign(static_cast<size_t>(count), 0);
    uint32_t delivered = 0;
    return count > 0 && file.Seek(offset, SeekFromStart, nullptr) == Success &&
           file.Read(bytes->data(), count, &delivered) == Success &&
           delivered == static_cast<uint32_t>(count);
}

bool IfoPathOf(const char* url, std::string* ifoPath) {
    std::string_view path = url != nullptr ? url : "";
    Path::NameScan scan;
    if (!Path::ScanName(path, &scan)) {
        return false;
    }
    std::string_view part = path.substr(0, static_cast<size_t>(Path::PathPartLength(path)));
    size_t nameEnd = scan.extensionStart >= 0 ? static_cast<size_t>(scan.extensionStart) : part.size();
    std::string_view name = part.substr(static_cast<size_t>(scan.nameStart), nameEnd - scan.nameStart);
    std::string_view directory = part.substr(0, static_cast<size_t>(scan.nameStart));
    if (name.empty()) {
        return false;
    }
    Buffer joined = Path::Join(directory, std::string(name) + ".IFO");
    *ifoPath = joined.Text();
    if (ifoPath->size() > MaxPathLength) {
        return false;
    }
    // The part digit stands five characters before the end: "_1.IFO".
    (*ifoPath)[ifoPath->size() - 5] = '0';
    return true;
}

bool ParseTitleVobName(const std::string& name, int32_t* titleSet, int32_t* part) {
    if (name.size() != 12) {
        return false;
    }
    std::string upper;
    for (char c : name) {
        upper += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    if (upper.compare(0, 4, "VTS_") != 0 || upper.compare(6, 1, "_") != 0 ||
        upper.compare(8, 4, ".VOB") != 0 || !IsDigit(upper[4]) || !IsDigit(upper[5]) || upper[7] < '1' ||
        upper[7] > '9') {
        return false;
    }
    *titleSet = (upper[4] - '0') * 10 + (upper[5] - '0');
    *part = upper[7] - '0';
    return true;
}

int DvdFail(const char* sourceFile, int line, int status, const char* format, ...) {
    char text[1024];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    std::string reason(text);
    if (!reason.empty() && reason.back() == '\n') {
        reason.pop_back();
    }
    Log(sourceFile, line, LogCore, "%s\n", reason.c_str());
    return SetLastError(status, sourceFile, line, "%s", reason.c_str());
}

std::string UrlText(const Buffer& url) {
    std::string_view text;
    return Path::TextOf(url, &text) ? std::string(text) : std::string();
}

} // namespace Vorn::Vorncast
