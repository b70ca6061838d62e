#include "core/filelists/FileList.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Vorn::Vorncast::Decoders {
namespace {} // namespace
// Sorting ignores case and keeps paths that compare equal in the order they came.
TEST(FileListComparerTest, SortOrdersPathsAndKeepsEqualOnesInPlace) {
    FileList list;
    for (const char* path : {"c.jpg", "B.jpg", "a.JPG", "b.JPG", "A.jpg"}) {
        list.Add(path);
    }
    FileListComparer comparer;
    list.Sort(comparer);
    std::vector<std::string> paths;
    for (int32_t index = 0; index < list.Count(); ++index) {
        paths.push_back(list.GetAt(index));
    }
    EXPECT_EQ(paths, std::vector<std::string>({"a.JPG", "A.jpg", "B.jpg", "b.JPG", "c.jpg"}));
}

} // namespace Vorn::Vorncast::Decoders
