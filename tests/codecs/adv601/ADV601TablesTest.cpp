#include "codecs/adv601/ADV601Tables.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <tuple>
#include <vector>

using namespace Vorn::Vorncast::Decoders;

namespace {

struct Rect {
    int32_t x, y, width, height;
};

void ExpectBlock(const ADV601BlockGeometry& block, int32_t plane, const Rect& rect, int32_t index) {
    const Rect got{block.x, block.y, block.width, block.height};
    EXPECT_EQ(block.plane, plane) << "block " << index;
    EXPECT_EQ(std::tie(got.x, got.y, got.width, got.height),
              std::tie(rect.x, rect.y, rect.width, rect.height))
        << "block " << index;
}

// How many blocks cover each sample of each plane.
std::vector<std::vector<int32_t>> Coverage(bool tallField) {
    int32_t height = ADV601FieldHeight(tallField);
    std::vector<std::vector<int32_t>> cover = {std::vector<int32_t>(ADV601FieldWidth * height),
                                               std::vector<int32_t>(ADV601ChromaWidth * height),
                                               std::vector<int32_t>(ADV601ChromaWidth * height)};
    const ADV601BlockGeometry* blocks = ADV601Geometry(tallField);
    for (int32_t index = 0; index < ADV601BlockCount; ++index) {
        const ADV601BlockGeometry& block = blocks[index];
        int32_t stride = block.plane == ADV601PlaneY ? ADV601FieldWidth : ADV601ChromaWidth;
        for (int32_t row = block.y; row < block.y + block.height; ++row) {
            for (int32_t column = block.x; column < block.x + block.width; ++column) {
                if (row < height && column < stride) {
                    ++cover[block.plane][row * stride + column];
                }
            }
        }
    }
    return cover;
}

} // namespace

TEST(ADV601Geometry, ShortFieldHalvesItsHeightRoundingUp) {
    // 243 lines: 122, 61, 31 and 16 at the four levels below the full height.
    const ADV601BlockGeometry* blocks = ADV601Geometry(false);
    ExpectBlock(blocks[0], ADV601PlaneY, {360, 0, 360, 243}, 0);
    ExpectBlock(blocks[3], ADV601PlaneY, {180, 122, 180, 121}, 3);
    ExpectBlock(blocks[6], ADV601PlaneY, {180, 0, 180, 122}, 6);
    ExpectBlock(blocks[13], ADV601PlaneU, {45, 61, 45, 61}, 13);
    ExpectBlock(blocks[26], ADV601PlaneV, {23, 0, 22, 31}, 26);
    ExpectBlock(blocks[27], ADV601PlaneY, {0, 31, 45, 30}, 27);
    ExpectBlock(blocks[30], ADV601PlaneY, {23, 16, 22, 15}, 30);
    ExpectBlock(blocks[41], ADV601PlaneV, {0, 0, 12, 16}, 41);
}

TEST(ADV601Geometry, BlocksCoverEveryPlaneExactlyOnceAndStreamInEveryBlock) {
    for (bool tallField : {true, false}) {
        std::vector<std::vector<int32_t>> cover = Coverage(tallField);
        for (size_t plane = 0; plane < cover.size(); ++plane) {
            EXPECT_TRUE(
                std::all_of(cover[plane].begin(), cover[plane].end(), [](int32_t n) { return n == 1; }))
                << "plane " << plane << (tallField ? " of a tall field" : " of a short field");
        }
    }
    std::set<int32_t> streamOrder(ADV601StreamOrder, ADV601StreamOrder + ADV601BlockCount);
    EXPECT_EQ(streamOrder.size(), static_cast<size_t>(ADV601BlockCount));
    EXPECT_EQ(*streamOrder.rbegin(), ADV601BlockCount - 1);
}
