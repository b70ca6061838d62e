#include "core/framelists/QuickFrameItemList.h"

#include <gtest/gtest.h>

#include <tuple>
#include <vector>

using namespace Vorn::Vorncast::Decoders;

namespace {

QuickFrameItem Item(int32_t n) {
    return QuickFrameItem{int64_t{n} * 3, int64_t{n} * 5, static_cast<uint32_t>(n) * 11,
                          static_cast<uint32_t>(n) + 1};
}

auto Fields(const QuickFrameItem& item) {
    return std::tuple(item.recordedTime, item.streamTime, item.offset, item.size);
}

void ExpectItem(const QuickFrameItem& item, int32_t n) {
    EXPECT_EQ(Fields(item), Fields(Item(n)));
}

void ExpectZero(const QuickFrameItem& item) {
    EXPECT_EQ(Fields(item), Fields(QuickFrameItem{}));
}

template <class List> void AppendItems(List& list, int32_t count) {
    for (int32_t n = 0; n < count; ++n) {
        list.Append(Item(n));
    }
}

class QuickListBoundaryTest : public ::testing::TestWithParam<int32_t> {};

TEST_P(QuickListBoundaryTest, EveryItemSurvivesAroundTheBlockBoundary) {
    int32_t count = GetParam();
    QuickFrameItemList<QuickFrameItem> list;
    AppendItems(list, count);
    ASSERT_EQ(list.Count(), count);
    int32_t n = 0;
    for (const QuickFrameItem& item : list) {
        ExpectItem(item, n++);
        ASSERT_FALSE(HasFailure()) << "walk at " << n - 1;
    }
    EXPECT_EQ(n, count);
    for (int32_t i = count - 1; i >= count - 300; --i) {
        ExpectItem(list.GetAt(i), i);
    }
    ExpectZero(list.GetAt(count));
}

INSTANTIATE_TEST_SUITE_P(AroundOneBlock, QuickListBoundaryTest, ::testing::Values(65535, 65536, 65537));

// A small geometry makes many blocks out of few items: jumps in every direction must find the
// right block from head, tail or cursor.
TEST(QuickListTest, JumpsBetweenManySmallBlocksFindEveryItem) {
    QuickList<QuickFrameItem, 4, 2> list;
    AppendItems(list, 203);
    uint32_t state = 12345;
    for (int k = 0; k < 5000; ++k) {
        state = state * 1103515245 + 12345;
        int32_t index = static_cast<int32_t>((state >> 8) % 220);
        const QuickFrameItem& item = list.ItemAt(index);
        if (index < 203) {
            ExpectItem(item, index);
        } else {
            ExpectZero(item);
        }
        ASSERT_FALSE(HasFailure()) << "at index " << index << " after " << k << " jumps";
    }
    int32_t n = 0;
    for (const QuickFrameItem& item : list) {
        ExpectItem(item, n++);
    }
    EXPECT_EQ(n, 203);
}

} // namespace
