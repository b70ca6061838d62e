#include "codecs/jpeg/JpegHuffman.h"

#include "codecs/jpeg/JpegTables.h"
#include "fixtures/jpeg/JpegTestSupport.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

using namespace Vorn::Vorncast::Decoders;
using namespace Vorn::Vorncast::Decoders::Testing;

namespace {

TEST(JpegHuffmanTable, DecodesEverySymbolOfTheStandardTables) {
    for (const JpegHuffmanTableData* data : {&StandardLuminanceDcTable, &StandardLuminanceAcTable,
                                             &StandardChrominanceDcTable, &StandardChrominanceAcTable}) {
        HuffmanCodes codes = BuildHuffmanCodes(*data);
        EntropyWriter writer;
        // Every symbol, longest codes (up to 16 bits) included, each followed by a few raw bits.
        for (int32_t i = 0; i < data->symbolCount; ++i) {
            uint8_t symbol = data->symbols[i];
            writer.PutBits(codes.code[symbol], codes.length[symbol]);
            writer.PutBits(static_cast<uint32_t>(i) & 7, 3);
        }
        writer.Flush();
        JpegHuffmanTable table;
        ASSERT_TRUE(table.Build(data->counts, data->symbols, data->symbolCount));
        JpegBitReader bits(writer.Bytes().data(), writer.Bytes().size());
        for (int32_t i = 0; i < data->symbolCount; ++i) {
            ASSERT_EQ(table.Decode(bits), data->symbols[i]) << i;
            ASSERT_EQ(bits.Bits(3), static_cast<uint32_t>(i) & 7);
        }
        EXPECT_FALSE(bits.Overrun());
    }
}

TEST(JpegHuffmanTable, UnusedCodeIsReportedAndBadTablesAreRefused) {
    // Two codes of length 1 fill the code space: symbol 5 is "0", symbol 6 is "1".
    uint8_t full[16] = {2};
    uint8_t symbols[3] = {5, 6, 7};
    JpegHuffmanTable table;
    ASSERT_TRUE(table.Build(full, symbols, 2));
    uint8_t ones[2] = {0x80, 0x00};
    JpegBitReader bits(ones, 2);
    EXPECT_EQ(table.Decode(bits), 6);
    EXPECT_EQ(table.Decode(bits), 5);

    // One code of length 1 leaves "1..." without a code.
    uint8_t partial[16] = {1};
    ASSERT_TRUE(table.Build(partial, symbols, 1));
    uint8_t allOnes[3] = {0xFF, 0x00, 0xFF};
    JpegBitReader noCode(allOnes, 3);
    EXPECT_EQ(table.Decode(noCode), -1);

    // More codes of a length than fit, and fewer symbols than codes.
    uint8_t overfull[16] = {3};
    EXPECT_FALSE(table.Build(overfull, symbols, 3));
    EXPECT_FALSE(table.Loaded());
    uint8_t tooFewSymbols[16] = {0, 3};
    EXPECT_FALSE(table.Build(tooFewSymbols, symbols, 2));
}

TEST(JpegBitReader, DropsStuffedZerosAndCountsReadsPastTheEnd) {
    uint8_t bytes[4] = {0xFF, 0x00, 0xA5, 0xFF};
    JpegBitReader bits(bytes, sizeof(bytes));
    EXPECT_EQ(bits.Bits(8), 0xFFu);
    EXPECT_EQ(bits.Bits(4), 0xAu);
    EXPECT_EQ(bits.Bits(12), 0x5FFu);
    EXPECT_FALSE(bits.Overrun());
    EXPECT_EQ(bits.Bits(1), 0u);
    EXPECT_TRUE(bits.Overrun());
}

} // namespace
