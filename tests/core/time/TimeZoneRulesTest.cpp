#include "core/time/TimeZoneRules.h"
#include "core/time/Ticks.h"
#include "core/time/TimeZoneInformation.h"

#include <gtest/gtest.h>

#include <chrono>
#include <utility>
#include <vector>

using namespace Vorn::Vorncast::Decoders;
using Vorn::SystemTime;

namespace {

constexpr uint16_t Sunday = 0;
constexpr uint16_t LastWeek = 5;

SystemTime Rule(uint16_t month, uint16_t weekday, uint16_t week, uint16_t hour, uint16_t minute = 0) {
    return SystemTime{0, month, weekday, week, hour, minute, 0, 0};
}

int64_t At(int year, int month, int day, int hour = 0, int minute = 0) {
    return TicksFromSystemTime(year, month, day, hour, minute, 0, 0);
}

// Sydney's rule of 2004: summer from the last Sunday of October to the last Sunday of March.
TimeZoneInformation SouthernZone() {
    TimeZoneInformation zone{};
    zone.Bias = -600;
    zone.DaylightBias = -60;
    zone.DaylightDate = Rule(10, Sunday, LastWeek, 2);
    zone.StandardDate = Rule(3, Sunday, LastWeek, 3);
    return zone;
}

} // namespace

// Every weekday and week of every month but December over two centuries, against the standard
// library's calendar.
TEST(TransitionTicks, MatchesTheCalendarForEveryRule) {
    using namespace std::chrono;
    for (int year = 1990; year <= 2190; ++year) {
        for (uint16_t month = 1; month <= 11; ++month) {
            for (uint16_t weekday = 0; weekday < 7; ++weekday) {
                for (uint16_t week = 1; week <= 5; ++week) {
                    std::chrono::year_month ym = std::chrono::year{year} / std::chrono::month{month};
                    std::chrono::weekday day{weekday};
                    sys_days date = week == 5 ? sys_days{ym / day[last]} : sys_days{ym / day[week]};
                    year_month_day ymd{date};
                    int64_t expected = At(year, month, static_cast<unsigned>(ymd.day()), 3, 30);
                    ASSERT_EQ(TransitionTicks(year, Rule(month, weekday, week, 3, 30)), expected)
                        << year << "-" << month << " weekday " << weekday << " week " << week;
                }
            }
        }
    }
}

TEST(TransitionTicks, QuirksOfDecemberAndDatesThatDoNotExist) {
    EXPECT_EQ(TransitionTicks(2004, Rule(0, Sunday, LastWeek, 2)), 0);
    // The last Sunday of December is taken from January of the same year, a week back.
    EXPECT_EQ(TransitionTicks(2004, Rule(12, Sunday, LastWeek, 2)), At(2003, 12, 28, 2));
    // A date that does not exist converts as file time 0.
    EXPECT_EQ(TransitionTicks(2004, Rule(2, Sunday, 0, 2)), FileTimeEpochTicks);
}

TEST(TimeZoneRules, EachBuildReplacesTheFormerAndAFailedOneLeavesNoOffset) {
    TimeZoneRules rules;
    bool enabled = true;
    EXPECT_EQ(rules.GetOffset(At(2004, 7, 1), &enabled), 0);
    EXPECT_FALSE(enabled);
    EXPECT_FALSE(rules.IsDaylight(At(2004, 7, 1)));

    // Built again over 2005 alone, 2005's own changes serve: its summer is daylight time.
    ASSERT_TRUE(rules.Build(At(2004, 6, 1), At(2006, 6, 1), FixedTimeZoneInformation()));
    ASSERT_TRUE(rules.Build(At(2005, 1, 1), At(2005, 12, 1), FixedTimeZoneInformation()));
    EXPECT_EQ(rules.GetOffset(At(2005, 7, 15), &enabled), 60);

    EXPECT_FALSE(rules.Build(0, At(2004, 7, 1), FixedTimeZoneInformation()));
    EXPECT_FALSE(rules.Build(At(2005, 1, 1), At(2004, 7, 1), FixedTimeZoneInformation()));
    EXPECT_EQ(rules.GetOffset(At(2004, 7, 1), &enabled), 0);
    EXPECT_FALSE(enabled);
}

TimeZoneInformation WithBiases(TimeZoneInformation zone, int32_t bias, int32_t standardBias) {
    zone.Bias = bias;
    zone.StandardBias = standardBias;
    return zone;
}

// A recording's span in one zone, whether its offset is fixed (-1: either), and the offset in
// minutes at given moments.
struct SpanCase {
    const char* label;
    TimeZoneInformation zone;
    int64_t from;
    int64_t to;
    int fixed;
    std::vector<std::pair<int64_t, int32_t>> offsets;
};

TEST(TimeZoneRules, OffsetsOverARecordingsSpan) {
    const TimeZoneInformation europe = FixedTimeZoneInformation();
    TimeZoneInformation onlyStandard = europe;
    onlyStandard.DaylightDate = SystemTime{};
    // clang-format off
    const SpanCase cases[] = {
        {"within one summer", europe, At(2004, 6, 1), At(2004, 8, 1), 1, {{At(2004, 12, 24), 60}}},
        {"from change to change", europe, At(2004, 3, 28, 2), At(2004, 10, 31, 2), 1, {{At(2004, 1, 1), 60}}},
        {"within one winter", europe, At(2004, 11, 5), At(2005, 2, 1), 1, {{At(2004, 7, 1), 0}}},
        {"across the autumn change", WithBiases(europe, 300, -5), At(2004, 10, 1), At(2004, 11, 30), 0,
            {{At(2004, 10, 31, 2) - 1, 60}, {At(2004, 10, 31, 2), 5}}},
        // the changes of the first year serve all years: in the second summer the offset is standard
        {"over three years", europe, At(2004, 6, 1), At(2006, 6, 1), 0, {{At(2004, 7, 15), 60}, {At(2005, 7, 15), 0}}},
        {"southern year", SouthernZone(), At(2004, 1, 10), At(2004, 12, 20), 0,
            {{At(2004, 1, 15), 60}, {At(2004, 3, 28, 3) - 1, 60}, {At(2004, 3, 28, 3), 0}, {At(2004, 6, 15), 0},
             {At(2004, 10, 31, 2), 60}}},
        {"southern summer over new year", SouthernZone(), At(2004, 12, 1), At(2005, 2, 15), 1, {{At(2005, 1, 1), 60}}},
        {"no daylight", WithBiases({}, 300, -15), At(2004, 1, 1, 1), At(2004, 12, 31), -1, {{At(2004, 7, 1), 15}}},
        // without a daylight date, daylight runs from tick 0 to the standard change
        {"only a standard date", onlyStandard, At(2004, 1, 1, 1), At(2004, 12, 31), -1,
            {{At(2004, 6, 1), 60}, {At(2004, 11, 1), 0}}},
    };
    // clang-format on
    for (const SpanCase& row : cases) {
        SCOPED_TRACE(row.label);
        TimeZoneRules rules;
        ASSERT_TRUE(rules.Build(row.from, row.to, row.zone));
        if (row.fixed >= 0) {
            EXPECT_EQ(rules.IsFixed(), row.fixed == 1);
        }
        for (const auto& [moment, offset] : row.offsets) {
            bool enabled = false;
            EXPECT_EQ(rules.GetOffset(moment, &enabled), offset) << moment;
            EXPECT_TRUE(enabled);
            if (!rules.IsFixed()) {
                EXPECT_EQ(rules.IsDaylight(moment), offset == 60) << moment;
            }
        }
    }
}
