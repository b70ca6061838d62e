#include "core/binary/ByteView.h"

#include <gtest/gtest.h>

#include <cstdint>

using namespace Vorn::Vorncast::Decoders;

namespace {

const uint8_t Sample[8] = {0x01, 0x02, 0x03, 0x04, 0xF5, 0xF6, 0xF7, 0xF8};

} // namespace

// The edges no recording reaches exactly: a field ending at the last byte, one a byte further, and
// offsets and counts near the top of size_t that must not wrap round into range.
TEST(ByteReaderBounds, FieldsSeeksAndSkipsAtTheEnd) {
    ByteView view(Sample, sizeof(Sample));
    uint32_t value = 99;
    EXPECT_TRUE(view.U32LE(4, &value));
    EXPECT_EQ(value, 0xF8F7F6F5u);
    for (size_t at : {size_t{5}, SIZE_MAX - 1}) {
        EXPECT_FALSE(view.U32LE(at, &value)) << at;
        EXPECT_EQ(value, 0u) << at;
    }
    EXPECT_EQ(view.U16BE(7), 0);
    EXPECT_EQ(view.U16BE(SIZE_MAX), 0);
    EXPECT_EQ(view.Bytes(6, 3), nullptr);

    ByteReader reader(view);
    EXPECT_TRUE(reader.Seek(8));
    EXPECT_TRUE(reader.AtEnd());
    EXPECT_TRUE(reader.Seek(2));
    EXPECT_TRUE(reader.Skip(6));
    EXPECT_FALSE(reader.Skip(1));
    EXPECT_TRUE(reader.Failed());
    EXPECT_TRUE(ByteReader(view, 9).Failed());
    ByteReader skipping(view);
    EXPECT_FALSE(skipping.Skip(SIZE_MAX));
    EXPECT_EQ(skipping.Position(), 0u);
}
