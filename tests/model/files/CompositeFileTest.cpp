#include "model/files/CompositeFile.h"
#include "model/files/FileTestSupport.h"
#include "model/files/MemoryFileSource.h"

#include <algorithm>

using namespace Vorn;
using namespace FileTesting;

namespace {

class CompositeFileTest : public ::testing::Test {
protected:
    void SetUp() override {
        memory.AddFile("VTS_01_1.VOB", AsText(first));
        memory.AddFile("VTS_01_2.VOB", AsText(second));
        memory.AddFile("empty.vob", "");
    }

    // Reads `count` bytes from `position` on; the bytes delivered, none on failure.
    std::vector<uint8_t> ReadAt(CompositeFile& composite, int64_t position, int32_t count) {
        std::vector<uint8_t> bytes(static_cast<size_t>(count), 0xAA);
        uint32_t delivered = 0;
        if (composite.Seek(position, nullptr) != 0 ||
            composite.Read(count, bytes.data(), count, &delivered) != 0) {
            return {};
        }
        bytes.resize(delivered);
        return bytes;
    }

    std::vector<uint8_t> first = PatternBytes(100, 41);
    std::vector<uint8_t> second = PatternBytes(200, 42);
    MemoryFileSource memory;
    InstalledSource installed{&memory};
    LogCapture log;
};

} // namespace

TEST_F(CompositeFileTest, LocatesPositionsAtFileBoundaries) {
    CompositeFile composite;
    int32_t index;
    int64_t offset;
    composite.Locate(5, &index, &offset);
    EXPECT_EQ(std::make_pair(index, offset), std::make_pair(-1, int64_t{5}));
    ASSERT_EQ(composite.Append("VTS_01_1.VOB"), 0);
    ASSERT_EQ(composite.Append("vts_01_2.vob"), 0);
    EXPECT_EQ(composite.TotalSize(), 300);
    struct Case {
        int64_t position;
        int32_t index;
        int64_t offset;
    } cases[] = {{0, 0, 0}, {99, 0, 99}, {100, 1, 0}, {299, 1, 199}, {300, 1, 200}, {350, 1, 250}};
    for (const Case& item : cases) {
        composite.Locate(item.position, &index, &offset);
        EXPECT_EQ(index, item.index) << item.position;
        EXPECT_EQ(offset, item.offset) << item.position;
    }
    uint64_t newPosition = 0;
    EXPECT_EQ(composite.Seek(299, &newPosition), 0);
    EXPECT_EQ(newPosition, 299u);
    EXPECT_EQ(composite.Seek(300, &newPosition), 1);
    EXPECT_EQ(composite.Position(), 299);
}

TEST_F(CompositeFileTest, ReadsRunAcrossFileBoundaries) {
    CompositeFile composite;
    ASSERT_EQ(composite.Append("VTS_01_1.VOB"), 0);
    ASSERT_EQ(composite.Append("empty.vob"), 0) << "an empty file opens, and holds no position";
    ASSERT_EQ(composite.Append("VTS_01_2.VOB"), 0);
    std::vector<uint8_t> whole = first;
    whole.insert(whole.end(), second.begin(), second.end());
    EXPECT_EQ(ReadAt(composite, 0, 400), whole) << "stopping at the end of the last file is a short success";
    EXPECT_EQ(composite.Position(), 300);
    uint8_t byte;
    uint32_t delivered = 9;
    EXPECT_EQ(composite.Read(1, &byte, 1, &delivered), 1) << "nothing is left at the end";
    EXPECT_EQ(delivered, 0u);
    for (int64_t position : {0, 1, 57, 99, 100, 101, 150, 298}) {
        for (int32_t count : {1, 2, 31, 100, 201}) {
            size_t expected =
                std::min<size_t>(static_cast<size_t>(count), whole.size() - static_cast<size_t>(position));
            EXPECT_EQ(ReadAt(composite, position, count),
                      Slice(whole, static_cast<size_t>(position), expected))
                << position << "+" << count;
        }
    }
}

TEST_F(CompositeFileTest, TailOffsetsShapeTheChain) {
    CompositeFile composite;
    ASSERT_EQ(composite.Append("VTS_01_1.VOB;10"), 0);
    ASSERT_EQ(composite.Append("VTS_01_2.VOB;20"), 0);
    EXPECT_EQ(composite.TotalSize(), 84 + 168);
    EXPECT_EQ(composite.GetCurrentFileStartOffset(), 16);
    std::vector<uint8_t> expected = Slice(first, 90, 10);
    std::vector<uint8_t> fromSecond = Slice(second, 32, 10);
    expected.insert(expected.end(), fromSecond.begin(), fromSecond.end());
    EXPECT_EQ(ReadAt(composite, 74, 20), expected);
    EXPECT_EQ(composite.GetCurrentFileStartOffset(), 32);
}

TEST_F(CompositeFileTest, FailuresLeaveTheChainAsItWas) {
    CompositeFile composite;
    uint64_t newPosition = 5;
    EXPECT_EQ(composite.Seek(7, &newPosition), 1);
    EXPECT_EQ(newPosition, 5u);
    EXPECT_EQ(
        std::string(Vorncast::LastErrorText())
            .rfind("CompositeFile::Seek > fileList.GetItemPointer returned NULL. (Core\\CompositeFile:", 0),
        0u);
    EXPECT_EQ(composite.GetCurrentFileStartOffset(), 0);
    uint8_t bytes[8];
    EXPECT_EQ(composite.Read(8, bytes, 8, nullptr), 1);

    EXPECT_EQ(composite.Append("missing.vob"), 1);
    ASSERT_EQ(composite.Append("VTS_01_1.VOB"), 0);
    EXPECT_EQ(composite.FileCount(), 1);
    EXPECT_EQ(composite.TotalSize(), 100);
    EXPECT_EQ(composite.Read(0, bytes, 8, nullptr), 1);
    EXPECT_EQ(composite.Read(8, nullptr, 8, nullptr), 1);
    EXPECT_EQ(composite.Read(8, bytes, 7, nullptr), 1);
    EXPECT_EQ(composite.Position(), 0);
}
