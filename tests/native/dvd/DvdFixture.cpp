#include "native/dvd/DvdFixture.h"

#include <algorithm>

namespace DvdTests {

bool DvdTest::Serve(const Vorn::Testing::DvdShape& shape, bool lowerCase) {
    folder = &Vorn::Testing::AuthorDvd(shape);
    EXPECT_EQ(folder->error, "");
    for (const auto& file : folder->files) {
        std::string path = Folder() + file.name;
        if (lowerCase) {
            std::transform(path.begin(), path.end(), path.begin(),
                           [](unsigned char c) { return std::tolower(c); });
        }
        files.AddFile(path, file.bytes);
    }
    return folder->error.empty();
}

std::string DvdTest::Bytes(const std::string& name) const {
    for (const auto& file : folder->files) {
        if (file.name == name) {
            return file.bytes;
        }
    }
    return {};
}

} // namespace DvdTests
