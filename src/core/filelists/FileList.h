#pragma once

#include "core/CoreTypes.h"
#include "model/support/Comparer.h"
#include "model/support/List.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// One path of a file list: at most 260 characters and a terminator.
struct FileListEntry {
    char path[MaxPathLength];
};

// A list of paths with a cursor that a decoder sets and steps while it works through a file set.
class FileList : public List<FileListEntry> {
public:
    static constexpr int32_t MaxEntryLength = MaxPathLength - 1;

    using List<FileListEntry>::Add;
    // Copies the text into a new entry at the tail, cut after MaxEntryLength characters.
    void Add(const char* text);
    void Add(const char* text, int32_t length);

    // The text of entry `index`, or null outside the list.
    const char* GetAt(int32_t index);

    void SetPosition(int32_t index) { cursorIndex = index; }
    int32_t GetPosition() const { return cursorIndex; }
    void MoveNext() { ++cursorIndex; }
    void MovePrevious() { --cursorIndex; }
    // The text at the cursor, or null when the cursor is outside the list.
    const char* GetCurrent() { return GetAt(cursorIndex); }
};

// Orders paths by a case-insensitive byte comparison in which letters compare as lower case.
class FileListComparer : public Comparer<FileListEntry> {
public:
    int Compare(const FileListEntry* a, const FileListEntry* b) override;
};

// The same comparison on plain texts.
int ComparePathsIgnoringCase(const char* a, const char* b);

} // namespace Vorn::Vorncast::Decoders
