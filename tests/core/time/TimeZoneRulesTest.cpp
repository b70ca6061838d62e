#include "core/time/TimeZoneRules.h"
#include "core/time/Ticks.h"
#include "core/time/TimeZoneInformation.h"

#include <gtest/gtest.h>

#include <chrono>

using namespace Vorn::Vorncast::Decoders;
using Vorn::SystemTime;

namespace {

constexpr uint16_t Sunday = 0;
constexpr uint16_t LastWeek = 5;

SystemTime Rule(uint16_t month, uint16_t weekday, uint16_t week, uint16_t hour) {
    return SystemTime{0, month, weekday, week, hour, 0, 0, 0};
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
        for (unsigned month = 1; month <= 11; ++month) {
            for (unsigned weekday = 0; weekday < 7; ++weekday) {
                for (unsigned week = 1; week <= 5; ++week) {
                    std::chrono::year_month ym = std::chrono::year{year} / std::chrono::month{month};
                    std::chrono::weekday day{weekday};
                    sys_days date = week == 5 ? sys_days{ym / day[last]} : sys_days{ym / day[week]};
                    year_month_day ymd{date};
                    int64_t expected = At(year, month, static_cast<unsigned>(ymd.day()), 3, 30);
                    SystemTime rule{0,
                                    static_cast<uint16_t>(month),
                                    static_cast<uint16_t>(weekday),
                                    static_cast<uint16_t>(week),
                                    3,
                                    30,
                                    0,
                                    0};
                    ASSERT_EQ(TransitionTicks(year, rule), expected)
                        << year << "-" << month << " weekday " << weekday << " week " << week;
                }
            }
        }
    }
}

TEST(TransitionTicks, KnownDatesAndQuirks) {
    EXPECT_EQ(TransitionTicks(2004, Rule(10, Sunday, LastWeek, 2)), At(2004, 10, 31, 2));
    EXPECT_EQ(TransitionTicks(2004, Rule(3, Sunday, LastWeek, 1)), At(2004, 3, 28, 1));
    EXPECT_EQ(TransitionTicks(2000, Rule(2, 1, 1, 0)), At(2000, 2, 7));
    EXPECT_EQ(TransitionTicks(2004, Rule(0, Sunday, LastWeek, 2)), 0);
    // The last Sunday of December is taken from January of the same year, a week back.
    EXPECT_EQ(TransitionTicks(2004, Rule(12, Sunday, LastWeek, 2)), At(2003, 12, 28, 2));
    // A date that does not exist converts as file time 0.
    EXPECT_EQ(TransitionTicks(2004, Rule(2, Sunday, 0, 2)), FileTimeEpochTicks);
}

TEST(TimeZoneRules, NoOffsetBeforeBuildOrAfterAFailedOne) {
    TimeZoneRules rules;
    bool enabled = true;
    EXPECT_EQ(rules.GetOffset(At(2004, 7, 1), &enabled), 0);
    EXPECT_FALSE(enabled);
    EXPECT_FALSE(rules.IsDaylight(At(2004, 7, 1)));

    EXPECT_FALSE(rules.Build(0, At(2004, 7, 1), FixedTimeZoneInformation()));
    EXPECT_FALSE(rules.Build(At(2005, 1, 1), At(2004, 7, 1), FixedTimeZoneInformation()));
    EXPECT_EQ(rules.GetOffset(At(2004, 7, 1), &enabled), 0);
    EXPECT_FALSE(enabled);
}

TEST(TimeZoneRules, RecordingWithinOneSummerIsFixedAtDaylightOffset) {
    TimeZoneRules rules;
    ASSERT_TRUE(rules.Build(At(2004, 6, 1), At(2004, 8, 1), FixedTimeZoneInformation()));
    EXPECT_TRUE(rules.IsFixed());
    EXPECT_EQ(rules.FixedOffset(), 60);
    bool enabled = false;
    EXPECT_EQ(rules.GetOffset(At(2004, 12, 24), &enabled), 60);
    EXPECT_TRUE(enabled);

    // Starting exactly on the change does not cross it.
    ASSERT_TRUE(rules.Build(At(2004, 3, 28, 2), At(2004, 10, 31, 2), FixedTimeZoneInformation()));
    EXPECT_TRUE(rules.IsFixed());
    EXPECT_EQ(rules.FixedOffset(), 60);

    ASSERT_TRUE(rules.Build(At(2004, 11, 5), At(2005, 2, 1), FixedTimeZoneInformation()));
    EXPECT_TRUE(rules.IsFixed());
    EXPECT_EQ(rules.FixedOffset(), 0);
}

TEST(TimeZoneRules, RecordingAcrossAChangeFollowsIt) {
    TimeZoneInformation zone = FixedTimeZoneInformation();
    zone.Bias = 300;
    zone.StandardBias = -5;
    TimeZoneRules rules;
    ASSERT_TRUE(rules.Build(At(2004, 10, 1), At(2004, 11, 30), zone));
    EXPECT_FALSE(rules.IsFixed());
    EXPECT_EQ(rules.BaseBiasTicks(), -300 * TicksPerMinute);
    EXPECT_EQ(rules.StandardOffset(), 5);
    EXPECT_EQ(rules.DaylightOffset(), 60);
    ASSERT_EQ(rules.YearCount(), 1);
    EXPECT_EQ(rules.FirstYear(), 2004);
    EXPECT_EQ(rules.Year(0)->yearStart, At(2004, 1, 1));
    EXPECT_EQ(rules.Year(0)->daylightStart, At(2004, 3, 28, 2));
    EXPECT_EQ(rules.Year(0)->standardStart, At(2004, 10, 31, 2));
    EXPECT_EQ(rules.Year(1), nullptr);

    bool enabled = false;
    EXPECT_EQ(rules.GetOffset(At(2004, 10, 31, 2) - 1, &enabled), 60);
    EXPECT_EQ(rules.GetOffset(At(2004, 10, 31, 2), &enabled), 5);
    EXPECT_TRUE(enabled);

    TimeZoneRules copy(rules);
    EXPECT_EQ(copy.GetOffset(At(2004, 10, 15), &enabled), 60);
    EXPECT_EQ(copy.Year(0)->standardStart, At(2004, 10, 31, 2));
}

// The changes of the first year serve all years: in the second summer the offset is standard.
TEST(TimeZoneRules, LaterYearsUseTheFirstYearsChanges) {
    TimeZoneRules rules;
    ASSERT_TRUE(rules.Build(At(2004, 6, 1), At(2006, 6, 1), FixedTimeZoneInformation()));
    EXPECT_FALSE(rules.IsFixed());
    ASSERT_EQ(rules.YearCount(), 3);
    EXPECT_EQ(rules.Year(2)->daylightStart, At(2006, 3, 26, 2));
    EXPECT_TRUE(rules.IsDaylight(At(2004, 7, 15)));
    EXPECT_FALSE(rules.IsDaylight(At(2005, 7, 15)));

    // A later build replaces the years.
    ASSERT_TRUE(rules.Build(At(2005, 1, 1), At(2005, 2, 1), FixedTimeZoneInformation()));
    EXPECT_EQ(rules.YearCount(), 1);
    EXPECT_EQ(rules.FirstYear(), 2005);
}

TEST(TimeZoneRules, SouthernHemisphere) {
    TimeZoneRules rules;
    ASSERT_TRUE(rules.Build(At(2004, 1, 10), At(2004, 12, 20), SouthernZone()));
    EXPECT_FALSE(rules.IsFixed());
    bool enabled = false;
    EXPECT_EQ(rules.GetOffset(At(2004, 1, 15), &enabled), 60);
    EXPECT_EQ(rules.GetOffset(At(2004, 3, 28, 3) - 1, &enabled), 60);
    EXPECT_EQ(rules.GetOffset(At(2004, 3, 28, 3), &enabled), 0);
    EXPECT_EQ(rules.GetOffset(At(2004, 6, 15), &enabled), 0);
    EXPECT_EQ(rules.GetOffset(At(2004, 10, 31, 2), &enabled), 60);

    // One southern summer across the new year.
    ASSERT_TRUE(rules.Build(At(2004, 12, 1), At(2005, 2, 15), SouthernZone()));
    EXPECT_TRUE(rules.IsFixed());
    EXPECT_EQ(rules.FixedOffset(), 60);
}

TEST(TimeZoneRules, RulesWithoutMonth) {
    TimeZoneInformation noDaylight{};
    noDaylight.Bias = 300;
    noDaylight.StandardBias = -15;
    TimeZoneRules rules;
    ASSERT_TRUE(rules.Build(At(2004, 1, 1, 1), At(2004, 12, 31), noDaylight));
    EXPECT_EQ(rules.Year(0)->daylightStart, 0);
    EXPECT_EQ(rules.Year(0)->standardStart, 0);
    EXPECT_FALSE(rules.IsDaylight(At(2004, 7, 1)));
    bool enabled = false;
    EXPECT_EQ(rules.GetOffset(At(2004, 7, 1), &enabled), 15);

    // Without a daylight date, daylight runs from tick 0 to the standard change.
    TimeZoneInformation onlyStandard = FixedTimeZoneInformation();
    onlyStandard.DaylightDate = SystemTime{};
    ASSERT_TRUE(rules.Build(At(2004, 1, 1, 1), At(2004, 12, 31), onlyStandard));
    EXPECT_TRUE(rules.IsDaylight(At(2004, 6, 1)));
    EXPECT_FALSE(rules.IsDaylight(At(2004, 11, 1)));
}
