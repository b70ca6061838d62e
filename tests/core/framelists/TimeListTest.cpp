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

TEST(TimeListTest, ReachingEitherEndOrTheNextFrameTakesNoLongWalk) {
    FrameInfoList list;
    for (int i = 0; i < 5000; ++i) {
        list.Append(Frame(i, 1));
    }
    uint64_t before = list.WalkSteps();
    EXPECT_EQ(list.GetAt(4999).recordedTime, 4999);
    EXPECT_EQ(list.GetAt(0).recordedTime, 0);
    EXPECT_EQ(list.WalkSteps(), before);
    for (int32_t i = 1; i < 5000; ++i) {
        ASSERT_EQ(list.GetAt(i).recordedTime, i);
    }
    // one step each, and none for the last, which the tail reaches
    EXPECT_EQ(list.WalkSteps(), before + 4998);
}

TEST(TimeListTest, SearchWalksAboutOnceThroughTheListAndLeavesTheCursorOnTheFrame) {
    constexpr int32_t count = 1 << 14;
    std::vector<int64_t> times;
    for (int32_t i = 0; i < count; ++i) {
        times.push_back(i * 10);
    }
    LinkedFrames list;
    AppendStreamTimes(list, times);
    for (int64_t target : {int64_t{12345}, int64_t{15}, int64_t{163825}, int64_t{81920}}) {
        uint64_t before = list.WalkSteps();
        int32_t found = list.IndexAtStreamTime(target);
        ASSERT_EQ(found, target / 10);
        // probes walk from one another: half the interval each, not from the head every time
        EXPECT_LE(list.WalkSteps() - before, static_cast<uint64_t>(count)) << "for " << target;
        before = list.WalkSteps();
        EXPECT_EQ(list.GetAt(found).streamTime, found * 10);
        EXPECT_EQ(list.GetAt(found - 1).streamTime, (found - 1) * 10);
        EXPECT_LE(list.WalkSteps() - before, 1u);
    }
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
