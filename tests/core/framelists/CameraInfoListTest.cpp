#include "core/framelists/CameraInfoList.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>

using namespace Vorn::Vorncast::Decoders;

namespace {

CameraTag Camera(uint16_t number, const char* name) {
    CameraTag tag{};
    tag.number = number;
    std::snprintf(tag.name, sizeof tag.name, "%s", name);
    return tag;
}

TEST(CameraInfoListTest, GrowingKeepsEveryRow) {
    CameraInfoList cameras;
    char name[16];
    for (uint16_t n = 0; n < 9; ++n) {
        std::snprintf(name, sizeof name, "cam %u", 100u + n);
        cameras.Set(Camera(100 + n, name));
    }
    ASSERT_EQ(cameras.Count(), 9);
    for (int32_t i = 0; i < 9; ++i) {
        CameraTag row{};
        ASSERT_TRUE(cameras.GetByIndex(i, row));
        std::snprintf(name, sizeof name, "cam %d", 100 + i);
        EXPECT_EQ(row.number, 100 + i);
        EXPECT_STREQ(row.name, name);
    }
}

TEST(CameraInfoListTest, SetOverwritesTheRowWithTheSameNumber) {
    CameraInfoList cameras;
    cameras.Set(Camera(3, "door"));
    cameras.Set(Camera(9, "yard"));
    cameras.Set(Camera(3, "front door"));
    EXPECT_EQ(cameras.Count(), 2);
    CameraTag row{};
    ASSERT_TRUE(cameras.GetByIndex(0, row));
    EXPECT_EQ(row.number, 3);
    EXPECT_STREQ(row.name, "front door");
    ASSERT_TRUE(cameras.GetByNumber(9, row));
    EXPECT_STREQ(row.name, "yard");
}

TEST(CameraInfoListTest, MissesGiveAZeroedRowByNumberAndNothingByIndex) {
    CameraInfoList cameras;
    cameras.Set(Camera(1, "hall"));
    CameraTag row = Camera(77, "stale text");
    EXPECT_FALSE(cameras.GetByIndex(1, row));
    EXPECT_FALSE(cameras.GetByIndex(-1, row));
    EXPECT_STREQ(row.name, "stale text");
    EXPECT_FALSE(cameras.GetByNumber(5, row));
    EXPECT_EQ(row.number, 5);
    for (char c : row.name) {
        ASSERT_EQ(c, 0);
    }
}

} // namespace
