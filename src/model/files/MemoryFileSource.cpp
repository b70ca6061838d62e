#include "model/files/MemoryFileSource.h"

#include "model/files/NameOrder.h"

#include <cstring>
#include <map>
#include <memory>
#include <vector>

namespace Vorn {

struct MemoryFileSource::Node {
    Node* parent = nullptr;
    bool isDirectory = true;
    std::shared_ptr<const std::vector<uint8_t>> bytes;
    // Ordered by raw bytes, so the first case-insensitive match is the one the native source picks.
    std::map<std::string, std::unique_ptr<Node>, std::less<>> children;

    Node* Child(std::string_view name) {
        auto exact = children.find(name);
        if (exact != children.end()) {
            return exact->second.get();
        }
        for (auto& [childName, child] : children) {
            if (NameOrder::EqualIgnoringCase(childName, name)) {
                return child.get();
            }
        }
        return nullptr;
    }
};

namespace {

class MemorySourceFile : public SourceFile {
public:
    explicit MemorySourceFile(std::shared_ptr<const std::vector<uint8_t>> bytes) : bytes(std::move(bytes)) {}

    int64_t Size() const override { return static_cast<int64_t>(bytes->size()); }

    int64_t ReadAt(int64_t offset, void* destination, int64_t count) override {
        if (offset < 0 || count < 0) {
            return -1;
        }
        int64_t size = Size();
        if (offset >= size) {
            return 0;
        }
        int64_t delivered = std::min(count, size - offset);
        std::memcpy(destination, bytes->data() + offset, static_cast<size_t>(delivered));
        return delivered;
    }

private:
    std::shared_ptr<const std::vector<uint8_t>> bytes;
};

} // namespace

MemoryFileSource::MemoryFileSource() : root(std::make_unique<Node>()) {}

MemoryFileSource::~MemoryFileSource() = default;

MemoryFileSource::Node* MemoryFileSource::Find(std::string_view path) {
    Node* node = root.get();
    for (std::string_view component : NameOrder::SplitComponents(path)) {
        if (!node->isDirectory) {
            return nullptr;
        }
        if (component == "..") {
            node = node->parent != nullptr ? node->parent : node;
        } else if (component != "." && (node = node->Child(component)) == nullptr) {
            return nullptr;
        }
    }
    return node;
}

MemoryFileSource::Node* MemoryFileSource::MakeDirectories(const std::vector<std::string_view>& components,
                                                          size_t count) {
    Node* node = root.get();
    for (size_t i = 0; i < count; ++i) {
        std::string_view component = components[i];
        if (component == ".") {
            continue;
        }
        if (component == "..") {
            node = node->parent != nullptr ? node->parent : node;
            continue;
        }
        auto [position, added] = node->children.try_emplace(std::string(component));
        if (added) {
            position->second = std::make_unique<Node>();
            position->second->parent = node;
        }
        node = position->second.get();
        if (!node->isDirectory) {
            return nullptr;
        }
    }
    return node;
}

bool MemoryFileSource::AddFile(std::string_view path, const void* bytes, size_t size) {
    std::vector<std::string_view> components = NameOrder::SplitComponents(path);
    if (components.empty() || components.back() == "." || components.back() == "..") {
        return false;
    }
    Node* directory = MakeDirectories(components, components.size() - 1);
    if (directory == nullptr) {
        return false;
    }
    auto [position, added] = directory->children.try_emplace(std::string(components.back()));
    if (added) {
        position->second = std::make_unique<Node>();
        position->second->parent = directory;
        position->second->isDirectory = false;
    } else if (position->second->isDirectory) {
        return false;
    }
    const auto* first = static_cast<const uint8_t*>(bytes);
    position->second->bytes = std::make_shared<const std::vector<uint8_t>>(first, first + size);
    return true;
}

bool MemoryFileSource::AddDirectory(std::string_view path) {
    std::vector<std::string_view> components = NameOrder::SplitComponents(path);
    return MakeDirectories(components, components.size()) != nullptr;
}

bool MemoryFileSource::Remove(std::string_view path) {
    Node* node = Find(path);
    if (node == nullptr || node->parent == nullptr) {
        return false;
    }
    auto& siblings = node->parent->children;
    for (auto position = siblings.begin(); position != siblings.end(); ++position) {
        if (position->second.get() == node) {
            siblings.erase(position);
            return true;
        }
    }
    return false;
}

std::unique_ptr<SourceFile> MemoryFileSource::Open(std::string_view path) {
    Node* node = Find(path);
    if (node == nullptr || node->isDirectory) {
        return nullptr;
    }
    return std::make_unique<MemorySourceFile>(node->bytes);
}

bool MemoryFileSource::Exists(std::string_view path) {
    return !path.empty() && Find(path) != nullptr;
}

bool MemoryFileSource::IsDirectory(std::string_view path) {
    Node* node = path.empty() ? nullptr : Find(path);
    return node != nullptr && node->isDirectory;
}

bool MemoryFileSource::List(std::string_view directory, std::vector<DirectoryEntry>* entries) {
    entries->clear();
    Node* node = Find(directory);
    if (node == nullptr || !node->isDirectory) {
        return false;
    }
    for (auto& [name, child] : node->children) {
        entries->push_back({name, child->isDirectory});
    }
    NameOrder::SortListing(entries);
    return true;
}

} // namespace Vorn
