#include "FrameListFixtures.h"

#include <gtest/gtest.h>

#include <vector>

using namespace FrameListFixtures;

namespace {

// What both families share: lookups by index, first and last stamps, the search on the
// play-back axis and the steps.
template <class List> class FrameListLookupTest : public ::testing::Test {
protected:
    List list;
};
TYPED_TEST_SUITE(FrameListLookupTest, AllFrameLists);

TYPED_TEST(FrameListLookupTest, GetAtReturnsEveryAppendedRecord) {
    std::vector<int64_t> stamps;
    for (int i = 0; i < 1000; ++i) {
        stamps.push_back(BaseTime + i * 3);
    }
    AppendStamps(this->list, stamps);
    ASSERT_EQ(this->list.Count(), 1000);
    for (int32_t i = 0; i < 1000; ++i) {
        auto record = this->list.GetAt(i);
        ASSERT_EQ(record.recordedTime, stamps[i]);
        ASSERT_EQ(record.offset, static_cast<uint64_t>(i) * 7);
        ASSERT_EQ(record.size, static_cast<uint32_t>(i) + 1);
    }
    // and backwards
    for (int32_t i = 999; i >= 0; --i) {
        ASSERT_EQ(this->list.GetAt(i).recordedTime, stamps[i]);
    }
}

TYPED_TEST(FrameListLookupTest, ReplaceAtChangesOnlyItsRecordAndOutOfRangeReadsAZeroRecord) {
    AppendStamps(this->list, {BaseTime, BaseTime + 1, BaseTime + 2});
    this->list.AssignStreamTimes();
    auto record = this->list.GetAt(1);
    record.recordedTime = 42;
    record.size = 99;
    for (int32_t index : {1, 3, -1}) {
        this->list.ReplaceAt(index, record);
    }
    ASSERT_EQ(this->list.Count(), 3);
    EXPECT_EQ(this->list.GetAt(0).recordedTime, BaseTime);
    EXPECT_EQ(this->list.GetAt(1).recordedTime, 42);
    EXPECT_EQ(this->list.GetAt(1).size, 99u);
    EXPECT_EQ(this->list.GetAt(2).recordedTime, BaseTime + 2);
    for (int32_t index : {-1, 3, 4, 1 << 30}) {
        auto outside = this->list.GetAt(index);
        EXPECT_EQ(outside.recordedTime, 0);
        EXPECT_EQ(outside.streamTime, 0);
        EXPECT_EQ(outside.offset, 0u);
        EXPECT_EQ(outside.size, 0u);
    }
}

TYPED_TEST(FrameListLookupTest, FirstAndLastTimeSkipRecordsWithoutStamps) {
    EXPECT_EQ(this->list.GetFirstTime(), 0);
    AppendStamps(this->list, {0, 0, 0});
    EXPECT_EQ(this->list.GetFirstTime(), 0);
    EXPECT_EQ(this->list.GetLastTime(), 0);
    AppendStamps(this->list, {BaseTime + 5, 0, BaseTime + 2, BaseTime + 9, 0, 0});
    EXPECT_EQ(this->list.GetFirstTime(), BaseTime + 5);
    EXPECT_EQ(this->list.GetLastTime(), BaseTime + 9);
}

TYPED_TEST(FrameListLookupTest, SearchFindsTheFrameAtOrBeforeEveryTime) {
    // Rising stream times with uneven gaps: compare with a scan for every time around them.
    std::vector<int64_t> times;
    int64_t time = 1000;
    for (int i = 0; i < 777; ++i) {
        times.push_back(time);
        time += 1 + (i * 37) % 11;
    }
    AppendStreamTimes(this->list, times);
    for (int64_t t = times.front() - 3; t <= times.back() + 3; ++t) {
        int32_t expected = -1;
        while (expected + 1 < static_cast<int32_t>(times.size()) && times[expected + 1] <= t) {
            ++expected;
        }
        ASSERT_EQ(this->list.IndexAtStreamTime(t), expected) << "at time " << t;
    }
}

TYPED_TEST(FrameListLookupTest, SearchOnSmallAndDegenerateLists) {
    struct Case {
        std::vector<int64_t> times;
        int64_t probe;
        int32_t expected;
    };
    // the first probe among equal times lands on index 3 of the run 1 to 6; with all times zero the
    // last frame answers from zero on
    // clang-format off
    const Case cases[] = {
        {{}, BaseTime, -1},
        {{BaseTime}, BaseTime, 0}, {{BaseTime}, INT64_MAX, 0}, {{BaseTime}, BaseTime - 1, -1}, {{BaseTime}, INT64_MIN, -1},
        {{0, 10, 10, 10, 10, 10, 10, 20}, 10, 3}, {{0, 10, 10, 10, 10, 10, 10, 20}, 15, 6},
        {{0, 10, 10, 10, 10, 10, 10, 20}, 5, 0}, {{0, 10, 10, 10, 10, 10, 10, 20}, 20, 7},
        {{0, 0, 0, 0, 0}, 0, 4}, {{0, 0, 0, 0, 0}, BaseTime, 4}, {{0, 0, 0, 0, 0}, -1, -1},
    };
    // clang-format on
    for (const Case& row : cases) {
        TypeParam list;
        AppendStreamTimes(list, row.times);
        EXPECT_EQ(list.IndexAtStreamTime(row.probe), row.expected) << row.times.size() << " at " << row.probe;
    }
}

TYPED_TEST(FrameListLookupTest, StepsStayInsideTheList) {
    AppendStamps(this->list, {1, 2, 3, 4});
    std::vector<int32_t> previous, next;
    for (int32_t index : {-5, 0, 2, 3, 4, 100}) {
        previous.push_back(this->list.PreviousIndex(index));
        next.push_back(this->list.NextIndex(index));
    }
    EXPECT_EQ(previous, (std::vector<int32_t>{-1, -1, 1, 2, 3, 3}));
    EXPECT_EQ(next, (std::vector<int32_t>{0, 1, 3, -1, -1, -1}));
}

TEST(FrameListCameraTest, BothFamiliesGiveTheRecordsCameraNumber) {
    LinkedFrames linked;
    FrameInfo frame{};
    frame.camera.number = 65535;
    linked.Append(frame);
    PagedFileFrames paged;
    MultiFileImageInfo64 image{};
    image.camera = 12;
    paged.Append(image);
    EXPECT_EQ(linked.GetCamera(0), 65535);
    EXPECT_EQ(linked.GetCamera(1), 0);
    EXPECT_EQ(paged.GetCamera(0), 12);
    EXPECT_EQ(paged.GetCamera(-1), 0);
}

} // namespace
