#include "model/files/FileSource.h"

#include "model/files/NameOrder.h"
#include "model/files/NativeFileSource.h"
#include "model/support/Path.h"

#include <algorithm>
#include <atomic>

namespace Vorn {
namespace {

std::atomic<FileSource*> installedSource{nullptr};

NativeFileSource& NativeSource() {
    static NativeFileSource source;
    return source;
}

} // namespace

FileSource& FileSource::Current() {
    FileSource* source = installedSource.load(std::memory_order_acquire);
    return source != nullptr ? *source : NativeSource();
}

void FileSource::SetCurrent(FileSource* source) {
    installedSource.store(source, std::memory_order_release);
}

bool DirectoryOrderLess(std::string_view a, std::string_view b) {
    size_t common = std::min(a.size(), b.size());
    for (size_t i = 0; i < common; ++i) {
        unsigned char upperA = NameOrder::UpperByte(a[i]);
        unsigned char upperB = NameOrder::UpperByte(b[i]);
        if (upperA != upperB) {
            return upperA < upperB;
        }
    }
    return a.size() < b.size();
}

namespace NameOrder {

bool EqualIgnoringCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (size_t i = 0; i < a.size(); ++i) {
        if (UpperByte(a[i]) != UpperByte(b[i])) {
            return false;
        }
    }
    return true;
}

bool ListingLess(std::string_view a, std::string_view b) {
    if (DirectoryOrderLess(a, b)) {
        return true;
    }
    if (DirectoryOrderLess(b, a)) {
        return false;
    }
    return a < b;
}

void SortListing(std::vector<DirectoryEntry>* entries) {
    std::sort(entries->begin(), entries->end(),
              [](const DirectoryEntry& a, const DirectoryEntry& b) { return ListingLess(a.name, b.name); });
}

std::vector<std::string_view> SplitComponents(std::string_view path) {
    std::vector<std::string_view> components;
    size_t start = 0;
    for (size_t i = 0; i <= path.size(); ++i) {
        if (i == path.size() || Path::IsSeparator(path[i])) {
            if (i > start) {
                components.push_back(path.substr(start, i - start));
            }
            start = i + 1;
        }
    }
    return components;
}

} // namespace NameOrder
} // namespace Vorn
