#include "model/support/Path.h"

#include <cstdio>
#include <string>
#include <strings.h>

namespace Vorn::Path {
namespace {

Buffer BufferOf(std::string_view text) {
    return Buffer::FromBytes(text.data(), static_cast<int32_t>(text.size()));
}

std::string_view PathPart(std::string_view path) {
    size_t semicolon = path.find(';');
    return semicolon == std::string_view::npos ? path : path.substr(0, semicolon);
}

bool Scan(std::string_view path, bool requireSeparator, NameScan* scan) {
    *scan = {};
    std::string_view part = PathPart(path);
    size_t separator = part.find_last_of("\\/");
    if (separator == std::string_view::npos) {
        if (requireSeparator || part.empty()) {
            return false;
        }
        scan->nameStart = 0;
    } else {
        if (separator + 1 == part.size()) {
            return false;
        }
        scan->nameStart = static_cast<int32_t>(separator + 1);
    }
    size_t point = part.find_last_of('.');
    if (point != std::string_view::npos && static_cast<int32_t>(point) >= scan->nameStart) {
        scan->extensionStart = static_cast<int32_t>(point);
    }
    return true;
}

} // namespace

bool TextOf(const Buffer& buffer, std::string_view* text) {
    int32_t length = buffer.TerminatedLength();
    if (length < 0) {
        return false;
    }
    *text = std::string_view(buffer.Text(), static_cast<size_t>(length));
    return true;
}

int32_t PathPartLength(std::string_view path) {
    size_t semicolon = path.find(';');
    if (semicolon == std::string_view::npos) {
        return static_cast<int32_t>(path.size());
    }
    if (semicolon > 0 && IsSeparator(path[semicolon - 1])) {
        return static_cast<int32_t>(semicolon - 1);
    }
    return static_cast<int32_t>(semicolon);
}

int32_t PathPartLength(const Buffer* path) {
    std::string_view text;
    if (path == nullptr || !TextOf(*path, &text)) {
        return -1;
    }
    return PathPartLength(text);
}

bool ScanNameStrict(std::string_view path, NameScan* scan) {
    return Scan(path, true, scan);
}
bool ScanName(std::string_view path, NameScan* scan) {
    return Scan(path, false, scan);
}

bool HasExtension(std::string_view path) {
    NameScan scan;
    return ScanName(path, &scan) && scan.extensionStart >= 0;
}

bool HasExtension(const Buffer& path) {
    std::string_view text;
    return TextOf(path, &text) && HasExtension(text);
}

bool ExtensionIs(std::string_view path, std::string_view list) {
    NameScan scan;
    if (!ScanName(path, &scan) || scan.extensionStart < 0) {
        return false;
    }
    std::string_view extension = PathPart(path).substr(static_cast<size_t>(scan.extensionStart) + 1);
    while (!list.empty()) {
        size_t end = list.find(';');
        std::string_view item = list.substr(0, end);
        if (item.size() == extension.size() && strncasecmp(item.data(), extension.data(), item.size()) == 0) {
            return true;
        }
        if (end == std::string_view::npos) {
            break;
        }
        list.remove_prefix(end + 1);
    }
    return false;
}

bool ExtensionIs(const Buffer& path, std::string_view list) {
    std::string_view text;
    return TextOf(path, &text) && ExtensionIs(text, list);
}

Buffer GetExtension(const Buffer& path) {
    std::string_view text;
    NameScan scan;
    if (!TextOf(path, &text) || !ScanName(text, &scan) || scan.extensionStart < 0) {
        return Buffer();
    }
    return BufferOf(PathPart(text).substr(static_cast<size_t>(scan.extensionStart) + 1));
}

Buffer GetName(const Buffer& path) {
    std::string_view text;
    NameScan scan;
    if (!TextOf(path, &text) || !ScanName(text, &scan)) {
        return Buffer();
    }
    return BufferOf(PathPart(text).substr(static_cast<size_t>(scan.nameStart)));
}

Buffer GetDirectory(const Buffer& path) {
    std::string_view text;
    if (!TextOf(path, &text)) {
        return Buffer();
    }
    size_t separator = PathPart(text).find_last_of("\\/");
    if (separator == std::string_view::npos) {
        return Buffer();
    }
    return BufferOf(text.substr(0, separator + 1));
}

Buffer Join(std::string_view directory, std::string_view name) {
    std::string joined(directory);
    if (!joined.empty() && !IsSeparator(joined.back())) {
        joined += '/';
    }
    joined += name;
    return BufferOf(joined);
}

void WithDirectory(std::string_view path, char* out, size_t size) {
    const bool bare = !path.empty() && PathPart(path).find_last_of("\\/") == std::string_view::npos;
    std::snprintf(out, size, "%s%.*s", bare ? "./" : "", static_cast<int>(path.size()), path.data());
}

} // namespace Vorn::Path
