#include "model/files/File.h"
#include "model/files/FileTestSupport.h"
#include "model/files/MemoryFileSource.h"

#include <gtest/gtest.h>

#include <unistd.h>

using namespace Vorn;
using namespace FileTesting;

namespace {

constexpr int StartUp = 10;

class FileTest : public ::testing::Test {
protected:
    void SetUp() override {
        memory.AddFile("rec/clip.bin", AsText(clip));
        memory.AddFile("rec/empty.bin", "");
        memory.AddFile("odd;1/tail.bin", AsText(clip));
    }

    std::vector<uint8_t> clip = PatternBytes(1000, 21);
    MemoryFileSource memory;
    InstalledSource installed{&memory};
    LogCapture log;
};

} // namespace

TEST_F(FileTest, TailOffsetOpensTheFileFromThatByte) {
    File file;
    ASSERT_EQ(file.Open(nullptr, "rec/clip.bin;1F0"), 0);
    EXPECT_EQ(file.StartOffset(), 496);
    EXPECT_EQ(file.Size(), 504);
    EXPECT_EQ(file.PhysicalSize(), 1000);
    uint8_t bytes[16];
    uint32_t delivered = 0;
    ASSERT_EQ(file.Read(bytes, 16, &delivered), 0) << "the open positions at the tail offset";
    EXPECT_EQ(Slice(clip, 496, 16), std::vector<uint8_t>(bytes, bytes + 16));
    uint64_t position = 0;
    EXPECT_EQ(file.Seek(0, SeekFromStart, &position), 0);
    EXPECT_EQ(position, 496u);
    EXPECT_EQ(file.Seek(503, SeekFromStart, nullptr), 0);
    EXPECT_EQ(file.Read(bytes, 4, &delivered), 0);
    EXPECT_EQ(delivered, 1u);
    EXPECT_EQ(bytes[0], clip[999]);
    // The limit is the whole file's size, so the tail can be sought past its own end.
    EXPECT_EQ(file.Seek(600, SeekFromStart, &position), 0);
    EXPECT_EQ(position, 1096u);
    EXPECT_EQ(file.Read(bytes, 1, nullptr), 1);
    EXPECT_TRUE(log.Contains("File::Read error zero bytes were read\n", StartUp));
    EXPECT_EQ(file.Seek(1000, SeekFromStart, &position), 1);
}

TEST_F(FileTest, TailTextIsReadAsBase16FromTheLastSemicolon) {
    struct Case {
        const char* path;
        int64_t startOffset;
    } cases[] = {{"rec/clip.bin;1f0", 496},      {"rec/clip.bin;0x10", 16},
                 {"rec/clip.bin;", 0},           {"rec/clip.bin;FFFFFFFF", -1},
                 {"rec/clip.bin;123456789", -1}, {"rec/clip.bin;-10", -16},
                 {"odd;1/tail.bin;10", 16},      {"rec/clip.bin;80000000", INT32_MIN}};
    for (const Case& item : cases) {
        SCOPED_TRACE(item.path);
        File file;
        EXPECT_EQ(file.Open(nullptr, item.path), 0);
        EXPECT_EQ(file.StartOffset(), item.startOffset);
        EXPECT_EQ(file.Size(), 1000 - item.startOffset);
    }
    // A tail that lies before the file's start cannot be reached; the open still succeeds.
    EXPECT_TRUE(log.Contains("File::Seek error invalid pos after seek", StartUp));
}

TEST_F(FileTest, MissingAndEmptyFiles) {
    File missing;
    EXPECT_EQ(missing.Open(nullptr, "rec/gone.bin"), 1);
    EXPECT_FALSE(missing.IsOpen());
    EXPECT_EQ(missing.Open(nullptr, nullptr), 1);
    File empty;
    EXPECT_EQ(empty.Open(nullptr, "rec/EMPTY.bin"), 0)
        << "the failed seek to the start does not fail the open";
    uint32_t delivered = 7;
    uint8_t byte;
    EXPECT_EQ(empty.Read(&byte, 1, &delivered), 1);
    EXPECT_EQ(delivered, 0u);
    EXPECT_EQ(empty.Seek(0, SeekFromEnd, nullptr), 0);
}

TEST(FileOnDisk, ShrunkenAndUnlinkedFiles) {
    TemporaryDirectory disk;
    std::vector<uint8_t> bytes = PatternBytes(200, 31);
    disk.WriteFile("Clip.BIN", bytes);
    LogCapture log;
    File file;
    ASSERT_EQ(file.Open(nullptr, (disk / "clip.bin").c_str()), 0);
    ASSERT_EQ(unlink((disk / "Clip.BIN").c_str()), 0);
    uint8_t read[8];
    ASSERT_EQ(file.Seek(150, SeekFromStart, nullptr), 0);
    EXPECT_EQ(file.Read(read, 8, nullptr), 0) << "an unlinked file stays readable while open";
    EXPECT_EQ(std::vector<uint8_t>(read, read + 8), Slice(bytes, 150, 8));

    disk.WriteFile("short.bin", bytes);
    File shrinking;
    ASSERT_EQ(shrinking.Open(nullptr, (disk / "short.bin").c_str()), 0);
    ASSERT_EQ(truncate((disk / "short.bin").c_str(), 100), 0);
    ASSERT_EQ(shrinking.Seek(150, SeekFromStart, nullptr), 0) << "limits use the size seen at open";
    uint32_t delivered = 5;
    EXPECT_EQ(shrinking.Read(read, 8, &delivered), 1);
    EXPECT_EQ(delivered, 0u);
    EXPECT_EQ(log.All().back().message, "File::Read error zero bytes were read\n");
}
