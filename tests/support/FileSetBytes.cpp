#include "support/FileSetBytes.h"

#include <string_view>

namespace Vorn::Testing {
namespace {
constexpr std::string_view Separator = "\xF0VCFS\x0F";

std::string FileName(const std::string& stem, size_t index, const std::string& extension) {
    return stem + (index == 0 ? "" : std::to_string(index)) + "." + extension;
}
} // namespace

std::vector<FileSetFile> SplitFileSet(const uint8_t* data, size_t size, const std::string& stem,
                                      const std::string& extension, size_t maxFiles) {
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    std::vector<FileSetFile> files;
    while (files.size() + 1 < maxFiles) {
        size_t cut = rest.find(Separator);
        if (cut == std::string_view::npos) {
            break;
        }
        files.push_back({FileName(stem, files.size(), extension), std::string(rest.substr(0, cut))});
        rest.remove_prefix(cut + Separator.size());
    }
    files.push_back({FileName(stem, files.size(), extension), std::string(rest)});
    return files;
}

std::string JoinFileSet(const std::vector<FileSetFile>& files) {
    std::string joined;
    for (size_t index = 0; index < files.size(); ++index) {
        if (index > 0) {
            joined += Separator;
        }
        joined += files[index].bytes;
    }
    return joined;
}

} // namespace Vorn::Testing
