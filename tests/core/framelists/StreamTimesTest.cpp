#include "FrameListFixtures.h"

#include <gtest/gtest.h>

#include <vector>

using namespace FrameListFixtures;

namespace {

// A recorder that stamps whole seconds: 4 frames in the first second, 3 and one frame without a
// stamp in the next, 2 before a gap of one hour, then 5 frames, 2 that jump back one second,
// and a last second of 3.
std::vector<int64_t> RecorderStamps() {
    std::vector<int64_t> stamps;
    Repeat(stamps, 4, BaseTime);
    Repeat(stamps, 3, BaseTime + Second);
    stamps.push_back(0);
    Repeat(stamps, 2, BaseTime + 2 * Second);
    Repeat(stamps, 5, BaseTime + 3602 * Second);
    Repeat(stamps, 2, BaseTime + 3601 * Second);
    Repeat(stamps, 3, BaseTime + 3603 * Second);
    return stamps;
}

// Adds base to each offset.
std::vector<int64_t> From(int64_t base, const std::vector<int64_t>& offsets) {
    std::vector<int64_t> times;
    for (int64_t offset : offsets) {
        times.push_back(base + offset);
    }
    return times;
}

std::vector<int64_t> Join(std::initializer_list<std::vector<int64_t>> parts) {
    std::vector<int64_t> all;
    for (const auto& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

// 25 frames in each whole second, as a recorder with a one-second clock stamps them.
std::vector<int64_t> WholeSecondStamps(int64_t firstSecond, int seconds) {
    std::vector<int64_t> stamps;
    for (int s = 0; s < seconds; ++s) {
        Repeat(stamps, 25, BaseTime + (firstSecond + s) * Second);
    }
    return stamps;
}

template <class List> class StreamTimesTest : public ::testing::Test {
protected:
    std::vector<int64_t> Spread(const std::vector<int64_t>& stamps) {
        AppendStamps(list, stamps);
        list.AssignStreamTimes();
        return StreamTimesOf(list);
    }
    std::vector<int64_t> SpreadMonotonic(const std::vector<int64_t>& stamps) {
        AppendStamps(list, stamps);
        list.AssignMonotonicStreamTimes();
        return StreamTimesOf(list);
    }
    int64_t Period(const std::vector<int64_t>& stamps) {
        AppendStamps(list, stamps);
        return list.EstimateFramePeriod();
    }

    List list;
};
TYPED_TEST_SUITE(StreamTimesTest, AllFrameLists);

TYPED_TEST(StreamTimesTest, SpreadingSharesEachSecondAmongItsFramesAndCapsGapsAtOneSecond) {
    std::vector<int64_t> expected = Join({
        From(BaseTime, {1250000, 3750000, 6250000, 8750000}),
        // the frame without a stamp counts as one more frame of its second
        From(BaseTime + Second, {1250000, 3750000, 6250000, 8750000}),
        // the hour that follows is taken as one second
        From(BaseTime + 2 * Second, {2500000, 7500000}),
        // the two frames that jump back join the group before them
        From(BaseTime + 3602 * Second, {714285, 2142856, 3571427, 4999998, 6428569, 7857140, 9285711}),
        // the last group takes one second
        From(BaseTime + 3603 * Second, {1666666, 4999999, 8333332}),
    });
    EXPECT_EQ(this->Spread(RecorderStamps()), expected);
}

TYPED_TEST(StreamTimesTest, MonotonicFormNeverRunsBackwards) {
    std::vector<int64_t> expected = Join({
        From(BaseTime, {0, 2500000, 5000000, 7500000}),
        From(BaseTime + Second, {0, 2500000, 5000000, 7500000}),
        From(BaseTime + 2 * Second, {0, 5000000}),
        // raised to the group's own stamp after the gap
        From(BaseTime + 3602 * Second, {0, 2000000, 4000000, 6000000, 8000000}),
        // the backward jump closes the group before it with one second and opens its own
        From(BaseTime + 3603 * Second, {0, 5000000}),
        From(BaseTime + 3604 * Second, {0, 3333333, 6666666}),
    });
    std::vector<int64_t> times = this->SpreadMonotonic(RecorderStamps());
    EXPECT_EQ(times, expected);
    for (size_t i = 1; i < times.size(); ++i) {
        EXPECT_LE(times[i - 1], times[i]) << "at " << i;
    }
}

TYPED_TEST(StreamTimesTest, MonotonicFormClimbsThroughRepeatedBackwardJumps) {
    // A clock that is reset twice: every stream time must still be later than the one before.
    std::vector<int64_t> stamps =
        Join({WholeSecondStamps(10, 3), WholeSecondStamps(0, 2), WholeSecondStamps(5, 2)});
    std::vector<int64_t> times = this->SpreadMonotonic(stamps);
    ASSERT_EQ(times.size(), stamps.size());
    EXPECT_EQ(times.front(), BaseTime + 10 * Second);
    for (size_t i = 1; i < times.size(); ++i) {
        EXPECT_LT(times[i - 1], times[i]) << "at " << i;
    }
    // three seconds, then one second for each jump back and each second after it
    EXPECT_EQ(times[3 * 25], BaseTime + 13 * Second);
    EXPECT_EQ(times[5 * 25], BaseTime + 15 * Second);
    EXPECT_EQ(times.back(), BaseTime + 16 * Second + 24 * 400000);
}

TYPED_TEST(StreamTimesTest, DegenerateLists) {
    EXPECT_EQ(this->Spread({}), std::vector<int64_t>{});
    EXPECT_EQ(this->list.EstimateFramePeriod(), 0);
    EXPECT_EQ(this->Spread({BaseTime}), std::vector<int64_t>{BaseTime});
    EXPECT_EQ(this->list.EstimateFramePeriod(), 0);
    this->list.Clear();
    EXPECT_EQ(this->Period(std::vector<int64_t>(50, BaseTime)), 0) << "no distinct stamps";
    this->list.Clear();
    // frames without stamps still play one after the other
    EXPECT_EQ(this->Spread({0, 0, 0}), (std::vector<int64_t>{0, 400000, 800000}));
    // but the uniform form, with no period to go by, gives them all 0
    this->list.AssignUniformStreamTimes();
    EXPECT_EQ(StreamTimesOf(this->list), (std::vector<int64_t>{0, 0, 0}));
}

TYPED_TEST(StreamTimesTest, UniformFormStepsByTheEstimatedPeriod) {
    AppendStamps(this->list, WholeSecondStamps(0, 4));
    this->list.AssignUniformStreamTimes();
    for (int32_t i = 0; i < this->list.Count(); ++i) {
        ASSERT_EQ(this->list.GetAt(i).streamTime, BaseTime + i * 400000) << "at " << i;
    }
}

TYPED_TEST(StreamTimesTest, PeriodOf25FramesInWholeSecondsIs40Milliseconds) {
    // with a one-hour gap and a clock that jumps back in between
    std::vector<int64_t> stamps =
        Join({WholeSecondStamps(0, 10), WholeSecondStamps(3600, 5), WholeSecondStamps(3590, 6)});
    EXPECT_EQ(this->Period(stamps), 400000);
}

TYPED_TEST(StreamTimesTest, PeriodAveragesTheMedianClassWithTheClassAbove) {
    // 50 intervals of 60 ms, then 50 of 70 ms: the classes below 64 ms and below 128 ms.
    std::vector<int64_t> stamps{BaseTime};
    for (int i = 0; i < 100; ++i) {
        stamps.push_back(stamps.back() + (i < 50 ? 60 : 70) * Millisecond);
    }
    EXPECT_EQ(this->Period(stamps), 650000);
}

TYPED_TEST(StreamTimesTest, DamagedStampsWrapInsteadOfTrapping) {
    std::vector<int64_t> stamps{INT64_MIN, INT64_MAX, -5, 0, INT64_MAX, 1, INT64_MIN};
    std::vector<int64_t> times = this->Spread(stamps);
    EXPECT_EQ(times[0], INT64_MIN + 5000000);
    // every later stamp joins the top one: six frames, half a step in, past the end of the range
    EXPECT_EQ(times[1], INT64_MIN + 833333 - 1);
    EXPECT_EQ(times[6], INT64_MIN + 833333 - 1 + 5 * 1666666);
    this->list.AssignMonotonicStreamTimes();
    this->list.AssignUniformStreamTimes();
    EXPECT_GE(this->list.EstimateFramePeriod(), 0);
}

// The standard list's own AssignStreamTimes is the monotonic form; the base keeps spreading.
TEST(FrameInfoListTest, AssignStreamTimesIsTheMonotonicForm) {
    FrameInfoList standard;
    LinkedFrames base;
    AppendStamps(standard, RecorderStamps());
    AppendStamps(base, RecorderStamps());
    standard.AssignStreamTimes();
    base.AssignMonotonicStreamTimes();
    EXPECT_EQ(StreamTimesOf(standard), StreamTimesOf(base));

    MultiFileFrameInfoList files;
    AppendStamps(files, RecorderStamps());
    files.AssignStreamTimes();
    EXPECT_EQ(StreamTimesOf(files), StreamTimesOf(base));
}

// Across the paged list's block boundary every second's 25 frames sit 40 ms apart, half a step in.
TEST(PagedStreamTimesTest, SpreadingAcrossBlocksChecksEveryFrame) {
    PagedFrames list;
    std::vector<int64_t> stamps = WholeSecondStamps(0, 2800);
    AppendStamps(list, stamps);
    ASSERT_EQ(list.BlockCount(), 2);
    list.AssignStreamTimes();
    for (int32_t i = 0; i < list.Count(); ++i) {
        int64_t expected = BaseTime + (i / 25) * Second + 200000 + (i % 25) * 400000;
        ASSERT_EQ(list.GetAt(i).streamTime, expected) << "at " << i;
    }
}

} // namespace
