#include "FrameListFixtures.h"
#include "core/framelists/TimeComparer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

using namespace FrameListFixtures;

namespace {

FrameInfo Frame(int64_t recordedTime, uint32_t size, uint64_t offset = 0) {
    FrameInfo frame{};
    frame.recordedTime = recordedTime;
    frame.size = size;
    frame.offset = offset;
    return frame;
}

TEST(TimeListTest, MaxFrameSizeFollowsAppendAndReplace) {
    FrameInfoList list;
    list.Append(Frame(1, 300));
    list.Append(Frame(2, 1200));
    list.Append(Frame(3, 800));
    EXPECT_EQ(list.MaxFrameSize(), 1200u);
    list.ReplaceAt(0, Frame(1, 5000));
    EXPECT_EQ(list.MaxFrameSize(), 5000u);
    list.ReplaceAt(7, Frame(1, 9000));
    EXPECT_EQ(list.MaxFrameSize(), 5000u);
    list.Clear();
    EXPECT_EQ(list.MaxFrameSize(), 0u);
    EXPECT_EQ(list.Count(), 0);
}

TEST(TimeComparerTest, ComparesTheWholeSigned64BitRange) {
    TimeComparer<FrameInfo> comparer;
    FrameInfo earliest = Frame(INT64_MIN, 0);
    FrameInfo latest = Frame(INT64_MAX, 0);
    EXPECT_EQ(comparer.Compare(&earliest, &latest), -1);
    EXPECT_EQ(comparer.Compare(&latest, &earliest), 1);
    EXPECT_EQ(comparer.Compare(&latest, &latest), 0);
}

} // namespace
