#include "core/filelists/FileList.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Vorn::Vorncast::Decoders {
namespace {

using ::testing::ElementsAre;

std::vector<std::string> Paths(FileList& list) {
    std::vector<std::string> paths;
    for (int32_t index = 0; index < list.Count(); ++index) {
        paths.push_back(list.GetAt(index));
    }
    return paths;
}

TEST(FileListTest, AddCopiesTheTextAndCutsItAt260Characters) {
    FileList list;
    std::string text = "dir/a.jpg";
    list.Add(text.c_str());
    text[0] = 'X';
    std::string longText(300, 'q');
    list.Add(longText.c_str());
    list.Add("abcdef", 3);

    EXPECT_THAT(Paths(list), ElementsAre("dir/a.jpg", longText.substr(0, 260), "abc"));
}

TEST(FileListTest, CursorStepsThroughTheListAndIsNullOutside) {
    FileList list;
    list.Add("a");
    list.Add("b");
    EXPECT_EQ(list.GetCurrent(), nullptr);

    list.SetPosition(0);
    EXPECT_STREQ(list.GetCurrent(), "a");
    list.MoveNext();
    EXPECT_STREQ(list.GetCurrent(), "b");
    list.MoveNext();
    EXPECT_EQ(list.GetCurrent(), nullptr);
    EXPECT_EQ(list.GetPosition(), 2);
    list.MovePrevious();
    EXPECT_STREQ(list.GetCurrent(), "b");
    list.SetPosition(-1);
    EXPECT_EQ(list.GetCurrent(), nullptr);
}

TEST(FileListComparerTest, IgnoresCaseAndComparesOtherBytesAsLowerCase) {
    EXPECT_EQ(ComparePathsIgnoringCase("A.JPG", "a.jpg"), 0);
    EXPECT_LT(ComparePathsIgnoringCase("a.jpg", "B.jpg"), 0);
    EXPECT_GT(ComparePathsIgnoringCase("img10", "IMG1"), 0);
    // Letters compare as lower case, so '_' (0x5F) sorts before them.
    EXPECT_LT(ComparePathsIgnoringCase("a_b", "AAB"), 0);
    EXPECT_LT(ComparePathsIgnoringCase("", "a"), 0);
}

} // namespace
} // namespace Vorn::Vorncast::Decoders
