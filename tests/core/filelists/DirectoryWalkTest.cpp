#include "core/filelists/DirectoryWalk.h"
#include "model/files/MemoryFileSource.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace Vorn::Vorncast::Decoders {
namespace {

using ::testing::ElementsAre;

// A file set in memory that remembers which directories the walk listed.
class TreeSource : public MemoryFileSource {
public:
    explicit TreeSource(std::initializer_list<std::string> files) {
        for (const std::string& file : files) {
            AddFile(file, "");
        }
    }
    bool List(std::string_view directory, std::vector<DirectoryEntry>* listing) override {
        listed.emplace_back(directory);
        return MemoryFileSource::List(directory, listing);
    }

    std::vector<std::string> listed;
};

std::vector<std::string> Paths(FileList& list) {
    std::vector<std::string> paths;
    for (int32_t index = 0; index < list.Count(); ++index) {
        paths.push_back(list.GetAt(index));
    }
    return paths;
}

TreeSource Recording() {
    return TreeSource{"/rec/a.jpg",         "/rec/B.JPG",           "/rec/.hidden.jpg",  "/rec/notes.txt",
                      "/rec/sub/c.jpg",     "/rec/sub/deep/d.jpg",  "/rec/.cache/e.jpg", "/rec/sub2/f.jpg",
                      "/rec/dir.jpg/g.jpg", "/rec/sub/deep/x/h.jpg"};
}

std::vector<std::string> Walk(FileSource& source, const char* directory, const char* pattern,
                              int32_t maxDepth) {
    FileList found;
    WalkDirectory(source, directory, pattern, maxDepth, 0, &found);
    return Paths(found);
}

TEST(FileListTest, AddCopiesTheTextCutAtAnEntryAndComparesIgnoringCase) {
    FileList list;
    std::string longText(300, 'q');
    list.Add(longText.c_str());
    list.Add("abcdef", 3);
    EXPECT_THAT(Paths(list), ElementsAre(longText.substr(0, 260), "abc"));

    EXPECT_EQ(ComparePathsIgnoringCase("A.JPG", "a.jpg"), 0);
    EXPECT_GT(ComparePathsIgnoringCase("img10", "IMG1"), 0);
    // Letters compare as lower case, so '_' (0x5F) sorts before them.
    EXPECT_LT(ComparePathsIgnoringCase("a_b", "AAB"), 0);
}

// Trailing wildcards may stand for nothing, as on the recorders.
TEST(WildcardTest, StarAndQuestionMarkIgnoreCase) {
    struct Case {
        const char* pattern;
        const char* name;
        bool matches;
    } cases[] = {
        // clang-format off
        {"*.jpg", "a.JPG", true}, {"*.JPG", "frame.jpg", true}, {"*.b?x", "REC01.BIX", true},
        {"mpeg2_*.dat", "MPEG2_0001.dat", true}, {"a*b*c", "aXXbYYc", true}, {"*", "anything.at.all", true},
        {"*.jpg", "a.b.jpg", true}, {"*.jpg", "a.jpeg", false}, {"*.b?x", "rec.bx", false},
        {"*.b?x", "rec.biix", false}, {"mpeg2_*.dat", "mpeg3_1.dat", false}, {"a*b*c", "aXXbYY", false},
        {"", "a", false}, {"*.*", "README", true}, {"*.*", "a.b", true},
        {"name.*", "name", true}, {"img?", "img", true}, {"img??.jpg", "img1.jpg", true},
        {"img?", "img12", false}, {"i?g", "ig", false}, {"name.*x", "name", false},
        // clang-format on
    };
    for (const Case& item : cases) {
        EXPECT_EQ(WildcardMatch(item.pattern, item.name), item.matches) << item.pattern << " " << item.name;
    }
}

// The folder formats' walks check the depth limit; here the order and the hidden names.
TEST(DirectoryWalkTest, FilesComeBeforeSubdirectoriesAndHiddenNamesAreNeitherListedNorEntered) {
    TreeSource source = Recording();
    EXPECT_THAT(Walk(source, "/rec/", "*", 2),
                ElementsAre("/rec/a.jpg", "/rec/B.JPG", "/rec/notes.txt", "/rec/dir.jpg/g.jpg",
                            "/rec/sub/c.jpg", "/rec/sub/deep/d.jpg", "/rec/sub2/f.jpg"));
    for (const std::string& listed : source.listed) {
        EXPECT_EQ(listed.find(".cache"), std::string::npos) << listed;
    }
}

TEST(DirectoryWalkTest, PathsLongerThanAnEntryAreLeftOut) {
    std::string fits = "/rec/" + std::string(251, 'n') + ".jpg";
    std::string tooLong = "/rec/" + std::string(252, 'l') + ".jpg";
    TreeSource source{"/rec/short.jpg", fits, tooLong, "/rec/" + std::string(250, 'd') + "/in.jpg"};
    EXPECT_THAT(Walk(source, "/rec/", "*.jpg", 1), ElementsAre(fits, "/rec/short.jpg"));
}

} // namespace
} // namespace Vorn::Vorncast::Decoders
