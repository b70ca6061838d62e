#include "model/files/CompositeFile.h"
#include "model/files/FileTestSupport.h"
#include "model/files/MemoryFileSource.h"

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

TEST_F(CompositeFileTest, TailOffsetsShapeTheChain) {
    CompositeFile composite;
    ASSERT_EQ(composite.Append("VTS_01_1.VOB;10"), 0);
    ASSERT_EQ(composite.Append("empty.vob"), 0) << "an empty file opens, and holds no position";
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

    EXPECT_EQ(composite.Seek(99, &newPosition), 0);
    EXPECT_EQ(newPosition, 99u);
    EXPECT_EQ(composite.Seek(100, &newPosition), 1) << "a seek to the end or past it is refused";
    EXPECT_EQ(composite.Position(), 99);
    uint32_t delivered = 0;
    EXPECT_EQ(composite.Read(8, bytes, 8, &delivered), 0) << "stopping at the end is a short success";
    EXPECT_EQ(delivered, 1u);
    EXPECT_EQ(bytes[0], first[99]);
    EXPECT_EQ(composite.Read(1, bytes, 1, &delivered), 1) << "nothing is left at the end";
    EXPECT_EQ(delivered, 0u);
}
