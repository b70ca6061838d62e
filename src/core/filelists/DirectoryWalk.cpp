#include "core/filelists/DirectoryWalk.h"

#include "model/support/Path.h"

#include <cstring>
#include <string>
#include <vector>

namespace Vorn::Vorncast::Decoders {

namespace {

char Lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

bool OnlyWildcardsFollow(const char* pattern) {
    for (; *pattern != '\0'; ++pattern) {
        if (*pattern != '*' && *pattern != '?') {
            return false;
        }
    }
    return true;
}

bool MatchFrom(const char* pattern, const char* name) {
    switch (*pattern) {
    case '\0':
        return *name == '\0';
    case '*':
        while (*pattern == '*') {
            ++pattern;
        }
        for (;; ++name) {
            if (MatchFrom(pattern, name)) {
                return true;
            }
            if (*name == '\0') {
                return false;
            }
        }
    case '?': {
        if (*name != '\0' && MatchFrom(pattern + 1, name + 1)) {
            return true;
        }
        // Before a point or at the end, a '?' may stand for nothing.
        char next = pattern[1];
        bool mayBeEmpty = (*name == '\0' || *name == '.') && (next == '\0' || next == '.' || next == '?');
        return mayBeEmpty && MatchFrom(pattern + 1, name);
    }
    case '.':
        if (*name == '.' && MatchFrom(pattern + 1, name + 1)) {
            return true;
        }
        // "name.*" also matches "name".
        return *name == '\0' && OnlyWildcardsFollow(pattern + 1);
    default:
        return Lower(*pattern) == Lower(*name) && MatchFrom(pattern + 1, name + 1);
    }
}

std::string CutText(const char* text) {
    return text != nullptr ? std::string(text, strnlen(text, MaxWalkTextLength)) : std::string();
}

// FileSource lists a directory by its path without the final separator; the root is "".
std::string ListingPath(std::string directory) {
    while (!directory.empty() && Path::IsSeparator(directory.back())) {
        directory.pop_back();
    }
    return directory;
}

bool IsHidden(const std::string& name) {
    return !name.empty() && name[0] == '.';
}

bool FitsEntry(const std::string& path) {
    return path.size() <= static_cast<size_t>(FileList::MaxEntryLength);
}

} // namespace

bool WildcardMatch(const char* pattern, const char* name) {
    return MatchFrom(pattern, name);
}

void WalkDirectory(FileSource& source, const char* directory, const char* pattern, int32_t maxDepth,
                   int32_t depth, FileList* output) {
    if (directory == nullptr || directory[0] == '\0' || depth < 0 || depth > maxDepth || output == nullptr) {
        return;
    }
    std::string base = CutText(directory);
    std::string filter = CutText(pattern);
    std::vector<DirectoryEntry> entries;
    if (!source.List(ListingPath(base), &entries)) {
        return;
    }
    for (const DirectoryEntry& entry : entries) {
        if (entry.isDirectory || IsHidden(entry.name) || !WildcardMatch(filter.c_str(), entry.name.c_str())) {
            continue;
        }
        std::string path = base + entry.name;
        if (FitsEntry(path)) {
            output->Add(path.c_str());
        }
    }
    std::vector<std::string> subdirectories;
    for (const DirectoryEntry& entry : entries) {
        std::string path = base + entry.name + "/";
        if (entry.isDirectory && !IsHidden(entry.name) && FitsEntry(path)) {
            subdirectories.push_back(path);
        }
    }
    for (const std::string& subdirectory : subdirectories) {
        WalkDirectory(source, subdirectory.c_str(), pattern, maxDepth, depth + 1, output);
    }
}

void ListFiles(FileSource& source, const char* directory, const char* pattern, int32_t depth, bool* ok,
               uint32_t* length, char** list) {
    *ok = false;
    *length = 0;
    *list = nullptr;
    if (directory == nullptr || directory[0] == '\0' || depth < 0) {
        return;
    }
    std::string root = CutText(directory);
    if (!Path::IsSeparator(root.back())) {
        root += '/';
    }
    FileList found;
    WalkDirectory(source, root.c_str(), pattern, depth, 0, &found);
    std::string text;
    for (FileList::Node* node = found.Head(); node != nullptr; node = node->next) {
        text += node->item->path + root.size();
        text += ';';
    }
    *list = new char[text.size() + 1];
    std::memcpy(*list, text.c_str(), text.size() + 1);
    *length = static_cast<uint32_t>(text.size());
    *ok = true;
}

void FreeFileListText(char* list) {
    delete[] list;
}

} // namespace Vorn::Vorncast::Decoders
