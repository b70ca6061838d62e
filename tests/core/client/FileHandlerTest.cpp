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
    present.Close();
    EXPECT_EQ(files.LiveFiles(), 0);
    EXPECT_EQ(present.GetSize(), 0);
}

TEST_F(FileHandlerTest, ReadErrorGivesZeroAndZeroFilledBuffer) {
    files.AddPatterned("bad.bin", 50, {.readFails = true});
    FileHandler handler("bad.bin");
    ASSERT_TRUE(handler.Open());
    std::vector<uint8_t> buffer(8, 0xEE);
    EXPECT_EQ(handler.Read(8, buffer.data()), 0);
    EXPECT_EQ(buffer, std::vector<uint8_t>(8, 0));
}
