#include "fixtures/FileSetBytes.h"

#include <gtest/gtest.h>

using namespace Vorn::Testing;

TEST(FileSetBytes, SplitIsTheInverseOfJoinAndCapsTheFileCount) {
    std::vector<FileSetFile> files{{"", "index"}, {"", std::string("da\0ta", 5)}, {"", ""}};
    std::string joined = JoinFileSet(files);
    auto split = SplitFileSet(reinterpret_cast<const uint8_t*>(joined.data()), joined.size(), "rec", "vid");
    ASSERT_EQ(split.size(), 3u);
    EXPECT_EQ(split[0].name, "rec.vid");
    EXPECT_EQ(split[1].name, "rec1.vid");
    EXPECT_EQ(split[1].bytes, files[1].bytes);
    EXPECT_EQ(split[2].bytes, "");

    auto capped =
        SplitFileSet(reinterpret_cast<const uint8_t*>(joined.data()), joined.size(), "rec", "vid", 2);
    ASSERT_EQ(capped.size(), 2u);
    EXPECT_EQ(capped[1].bytes, JoinFileSet({files[1], files[2]}));
}
