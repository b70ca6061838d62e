#include "core/client/FileHandler.h"
#include "core/client/ScriptedFiles.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Vorn::Vorncast::Decoders;
using ClientTests::ScriptedFiles;

namespace {

class FileHandlerTest : public ::testing::Test {
protected:
    ScriptedFiles files;
};

} // namespace

TEST_F(FileHandlerTest, OpenTakesSizeAndFailsForMissingOrUnmeasurableFiles) {
    files.AddPatterned("data.bin", 100);
    files.AddPatterned("nosize.bin", 10, {.sizeFails = true});

    FileHandler present("data.bin");
    ASSERT_TRUE(present.Open());
    EXPECT_EQ(present.GetSize(), 100);
    EXPECT_EQ(present.GetPosition(), 0);

    FileHandler missing("absent.bin");
    EXPECT_FALSE(missing.Open());
    EXPECT_FALSE(missing.IsOpen());

    FileHandler unmeasurable("nosize.bin");
    EXPECT_FALSE(unmeasurable.Open());
    EXPECT_FALSE(unmeasurable.IsOpen());
    EXPECT_EQ(files.LiveFiles(), 1) << "a file whose size fails must be closed again";
}

TEST_F(FileHandlerTest, ReadDeliversBytesAndAdvances) {
    files.AddPatterned("data.bin", 100);
    FileHandler handler("data.bin");
    ASSERT_TRUE(handler.Open());
    ASSERT_EQ(handler.Seek(10, SeekFromStart), 10);
    std::vector<uint8_t> buffer(20, 0xEE);
    ASSERT_EQ(handler.Read(20, buffer.data()), 20);
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(buffer[i], ScriptedFiles::Pattern(10 + i)) << i;
    }
    EXPECT_EQ(handler.GetPosition(), 30);
}

TEST_F(FileHandlerTest, ShortReadAtEndLeavesZerosBehindTheBytesRead) {
    files.AddPatterned("data.bin", 100);
    FileHandler handler("data.bin");
    ASSERT_TRUE(handler.Open());
    handler.Seek(95, SeekFromStart);
    std::vector<uint8_t> buffer(12, 0xEE);
    EXPECT_EQ(handler.Read(10, buffer.data()), 5);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(buffer[i], ScriptedFiles::Pattern(95 + i));
    }
    for (int i = 5; i < 10; ++i) {
        EXPECT_EQ(buffer[i], 0) << i;
    }
    EXPECT_EQ(buffer[10], 0xEE) << "only `count` bytes are zero-filled";
}

TEST_F(FileHandlerTest, ReadErrorGivesZeroAndZeroFilledBuffer) {
    files.AddPatterned("bad.bin", 50, {.readFails = true});
    FileHandler handler("bad.bin");
    ASSERT_TRUE(handler.Open());
    std::vector<uint8_t> buffer(8, 0xEE);
    EXPECT_EQ(handler.Read(8, buffer.data()), 0);
    EXPECT_EQ(buffer, std::vector<uint8_t>(8, 0));
}

TEST_F(FileHandlerTest, RefusedReadsTouchNothing) {
    files.AddPatterned("data.bin", 100);
    FileHandler handler("data.bin");
    std::vector<uint8_t> buffer(4, 0xEE);
    EXPECT_EQ(handler.Read(4, buffer.data()), 0) << "closed file";
    ASSERT_TRUE(handler.Open());
    EXPECT_EQ(handler.Read(0, buffer.data()), 0);
    EXPECT_EQ(handler.Read(-1, buffer.data()), 0);
    EXPECT_EQ(handler.Read(4, nullptr), 0);
    EXPECT_EQ(buffer, std::vector<uint8_t>(4, 0xEE));
    EXPECT_EQ(handler.GetPosition(), 0);
}

TEST_F(FileHandlerTest, SeekByEachOriginAndRefusals) {
    files.AddPatterned("data.bin", 100);
    FileHandler handler("data.bin");
    EXPECT_EQ(handler.Seek(5, SeekFromStart), 0) << "closed";
    ASSERT_TRUE(handler.Open());
    EXPECT_EQ(handler.Seek(40, SeekFromStart), 40);
    EXPECT_EQ(handler.Seek(-15, SeekFromCurrent), 25);
    EXPECT_EQ(handler.Seek(-10, SeekFromEnd), 90);
    EXPECT_EQ(handler.Seek(20, SeekFromEnd), 120) << "beyond the end is a legal position";
    EXPECT_EQ(handler.Seek(-1, SeekFromStart), 0);
    EXPECT_EQ(handler.Seek(1, 7), 0) << "unknown origin";
}

TEST_F(FileHandlerTest, CloseClearsSizeAndCanRepeat) {
    files.AddPatterned("data.bin", 100);
    FileHandler handler("data.bin");
    ASSERT_TRUE(handler.Open());
    handler.Close();
    EXPECT_EQ(handler.GetSize(), 0);
    EXPECT_EQ(handler.GetPosition(), 0);
    EXPECT_EQ(files.LiveFiles(), 0);
    handler.Close();
    EXPECT_FALSE(handler.IsOpen());
}

TEST_F(FileHandlerTest, NameIsCutToPathLimit) {
    std::string longName(300, 'n');
    FileHandler handler(longName.c_str());
    EXPECT_EQ(std::string(handler.GetName()), longName.substr(0, MaxPathLength - 1));
}
