#include "model/files/FileSystemNative.h"
#include "model/files/FileTestSupport.h"
#include "model/files/MemoryFileSource.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <sys/stat.h>

using namespace Vorn;
using namespace FileTesting;

namespace {

std::vector<std::string> AllNames(FileSystem& fileSystem, const char* path, bool directories) {
    std::vector<std::string> names;
    int32_t count = directories ? fileSystem.GetDirectoryCount(path) : fileSystem.GetFileCount(path);
    for (int32_t index = 0; index < count; ++index) {
        char name[64];
        int32_t size = directories ? fileSystem.GetDirectoryName(path, index, name, sizeof name)
                                   : fileSystem.GetFileName(path, index, name, sizeof name);
        EXPECT_EQ(size, static_cast<int32_t>(std::strlen(name) + 1));
        names.emplace_back(name);
    }
    return names;
}

class FileSystemNativeTest : public ::testing::Test {
protected:
    void SetUp() override {
        memory.AddFile("plugins/import/PluginDecoderA.so", "A");
        memory.AddFile("plugins/import/readme.txt", "text");
        memory.AddFile("plugins/import/beta/PluginDecoderB.so", "B");
        memory.AddDirectory("plugins/import/Alpha");
        memory.AddFile("data.bin", AsText(bytes));
    }

    MemoryFileSource memory;
    InstalledSource installed{&memory};
    FileSystemNative fileSystem;
    std::vector<uint8_t> bytes = PatternBytes(100, 9);
};

} // namespace

TEST_F(FileSystemNativeTest, CountsAndNamesEntriesInListingOrder) {
    using ::testing::ElementsAre;
    EXPECT_THAT(AllNames(fileSystem, "plugins\\import", true), ElementsAre(".", "..", "Alpha", "beta"));
    EXPECT_THAT(AllNames(fileSystem, "PLUGINS/IMPORT", false),
                ElementsAre("PluginDecoderA.so", "readme.txt"));
    EXPECT_THAT(AllNames(fileSystem, nullptr, true), ElementsAre(".", "..", "plugins"));
    EXPECT_THAT(AllNames(fileSystem, "", false), ElementsAre("data.bin"));
    EXPECT_EQ(fileSystem.GetDirectoryCount("plugins/missing"), 0);
    EXPECT_EQ(fileSystem.GetFileCount("plugins/missing"), 0);
    EXPECT_EQ(fileSystem.GetFileName("plugins/import", 2, nullptr, 0), 0);
    EXPECT_EQ(fileSystem.GetFileName("plugins/import", -1, nullptr, 0), 0);
    // A lookup gives the size the name needs and copies at most the capacity.
    char name[8];
    std::memset(name, '#', sizeof name);
    EXPECT_EQ(fileSystem.GetFileName("plugins/import", 1, nullptr, 0), 11);
    EXPECT_EQ(fileSystem.GetFileName("plugins/import", 1, name, 4), 11);
    EXPECT_EQ(std::string(name, 8), "read####");
}

TEST_F(FileSystemNativeTest, OpenGivesClosedHandleForMissingFileAndNullForNullPath) {
    EXPECT_EQ(fileSystem.Open(nullptr), nullptr);
    FileHandle* missing = fileSystem.Open("nothing.bin");
    ASSERT_NE(missing, nullptr);
    EXPECT_FALSE(missing->IsOpen());
    fileSystem.Close(missing);
    EXPECT_TRUE(fileSystem.Exists("PLUGINS\\import\\alpha"));
    EXPECT_FALSE(fileSystem.Exists(nullptr));

    FileHandle* handle = fileSystem.Open("DATA.BIN");
    ASSERT_TRUE(handle != nullptr && handle->IsOpen());
    Buffer buffer(10);
    EXPECT_EQ(fileSystem.Read(handle, 10, buffer), 10);
    EXPECT_EQ(std::memcmp(buffer.Data(), bytes.data(), 10), 0);
    EXPECT_EQ(fileSystem.Read(handle, 11, buffer), -1) << "count above the buffer's length";
    EXPECT_EQ(fileSystem.Read(handle, 10, buffer.Data(), 9), -1);
    EXPECT_EQ(fileSystem.Read(nullptr, 10, buffer.Data(), 10), -1);
    fileSystem.Close(handle);
}

TEST(FileSystemNative, CreateDirectoryMakesEveryMissingLevelOnDisk) {
    TemporaryDirectory disk;
    disk.MakeDirectory("Store");
    disk.WriteFile("plain", {1});
    FileSystemNative fileSystem;
    EXPECT_TRUE(fileSystem.CreateDirectory((disk.Path() + "\\STORE\\a\\b").c_str()));
    struct stat status;
    EXPECT_EQ(stat((disk / "Store/a/b").c_str(), &status), 0)
        << "the existing level is reused whatever its case";
    EXPECT_NE(stat((disk / "STORE").c_str(), &status), 0);
    EXPECT_TRUE(fileSystem.CreateDirectory((disk / "Store/a").c_str()));
    EXPECT_FALSE(fileSystem.CreateDirectory((disk / "plain/sub").c_str()));
    EXPECT_FALSE(fileSystem.CreateDirectory(nullptr));
}
