#include "core/time/TimeZoneInformation.h"
#include "core/time/HostTimeZone.h"
#include "core/time/Ticks.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <optional>
#include <string>
#include <tuple>

using namespace Vorn::Vorncast::Decoders;
using Vorn::SystemTime;

namespace {

constexpr uint16_t Sunday = 0;

SystemTime Rule(uint16_t month, uint16_t week, uint16_t hour) {
    return SystemTime{0, month, Sunday, week, hour, 0, 0, 0};
}

SystemTime Utc(uint16_t year, uint16_t month, uint16_t day, uint16_t hour, uint16_t minute = 0,
               uint16_t second = 0) {
    return SystemTime{year, month, 0, day, hour, minute, second, 0};
}

// A rule's fields but the milliseconds, comparable and printable.
auto Fields(const SystemTime& time) {
    return std::tuple(time.wYear, time.wMonth, time.wDayOfWeek, time.wDay, time.wHour, time.wMinute,
                      time.wSecond);
}

// The local ticks of a UTC time, or -1 when the conversion fails.
int64_t LocalTicks(const TimeZoneInformation& zone, const SystemTime& universal) {
    SystemTime local{};
    return SystemTimeToTzSpecificLocalTime(zone, universal, &local) ? TicksFromSystemTime(local) : -1;
}

} // namespace

TEST(TimeZoneInformation, LocalTimeInOtherZones) {
    // Without a daylight date only the base bias applies.
    TimeZoneInformation plain{};
    plain.Bias = -330;
    plain.StandardBias = 99;
    EXPECT_EQ(LocalTicks(plain, Utc(2004, 7, 1, 0)), TicksFromSystemTime(Utc(2004, 7, 1, 5, 30)));

    TimeZoneInformation broken = FixedTimeZoneInformation();
    broken.StandardDate.wMonth = 0;
    EXPECT_EQ(LocalTicks(broken, Utc(2004, 7, 1, 0)), -1);
    broken = FixedTimeZoneInformation();
    broken.DaylightDate.wDay = 6;
    EXPECT_EQ(LocalTicks(broken, Utc(2004, 7, 1, 0)), -1);
}

class HostTimeZone : public ::testing::Test {
protected:
    void SetUp() override {
        if (const char* value = std::getenv("TZ")) {
            saved = value;
        }
    }
    void TearDown() override {
        if (saved) {
            setenv("TZ", saved->c_str(), 1);
        } else {
            unsetenv("TZ");
        }
        tzset();
    }
    // False when the machine lacks the zone's file.
    static bool UseZone(const char* name) {
        if (!std::filesystem::exists(std::string("/usr/share/zoneinfo/") + name)) {
            return false;
        }
        setenv("TZ", name, 1);
        tzset();
        return true;
    }

    std::optional<std::string> saved;
};

// Dublin's zone data call winter the saving time; the summer offset is the daylight one all the same.
TEST_F(HostTimeZone, RulesAgreeWithTheHostHourByHour) {
    if (!UseZone("Australia/Sydney") || !UseZone("America/New_York") || !UseZone("Europe/Dublin")) {
        GTEST_SKIP() << "zone files missing";
    }
    struct Case {
        const char* name;
        int32_t year;
        int32_t bias;
        SystemTime daylight;
        SystemTime standard;
    };
    for (const Case& c : {Case{"Australia/Sydney", 2004, -600, Rule(10, 5, 2), Rule(3, 5, 3)},
                          Case{"America/New_York", 2010, 300, Rule(3, 2, 2), Rule(11, 1, 2)},
                          Case{"Europe/Dublin", 2010, 0, Rule(3, 5, 1), Rule(10, 5, 2)}}) {
        SCOPED_TRACE(c.name);
        UseZone(c.name);
        TimeZoneInformation zone;
        ASSERT_TRUE(HostTimeZoneInformation(c.year, &zone));
        EXPECT_EQ(zone.Bias, c.bias);
        EXPECT_EQ(zone.DaylightBias, -60);
        EXPECT_EQ(Fields(zone.DaylightDate), Fields(c.daylight));
        EXPECT_EQ(Fields(zone.StandardDate), Fields(c.standard));

        int64_t yearStart = TicksFromSystemTime(c.year, 1, 1, 0, 0, 0, 0) / TicksPerSecond - UnixEpochSeconds;
        for (int64_t hour = 0; hour < 366 * 24; ++hour) {
            time_t moment = static_cast<time_t>(yearStart + hour * 3600);
            tm host{};
            ASSERT_NE(localtime_r(&moment, &host), nullptr);
            SystemTime universal{};
            ASSERT_TRUE(SystemTimeFromTicks((moment + UnixEpochSeconds) * TicksPerSecond, &universal));
            ASSERT_EQ(LocalTicks(zone, universal),
                      (moment + host.tm_gmtoff + UnixEpochSeconds) * TicksPerSecond)
                << "hour " << hour;
        }
    }
}

TEST_F(HostTimeZone, ZoneWithoutDaylightFallsBackToTheFixedRule) {
    if (!UseZone("UTC")) {
        GTEST_SKIP() << "no UTC zone file";
    }
    TimeZoneInformation zone;
    EXPECT_FALSE(HostTimeZoneInformation(2004, &zone));
    TimeZoneInformation system = SystemTimeZoneInformation();
    TimeZoneInformation fixed = FixedTimeZoneInformation();
    EXPECT_EQ(std::memcmp(&system, &fixed, sizeof(system)), 0);
}
