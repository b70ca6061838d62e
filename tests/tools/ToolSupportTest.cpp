// The tool's helpers that do not need a recording: times, frame choice and timing, and JSON text.
// The command line, hashes and the MP4 writer are checked through the tool itself.

#include "support/FrameSelection.h"
#include "support/FrameTiming.h"
#include "support/Json.h"
#include "support/RecorderTime.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <limits>

namespace {

using namespace VorncastTool;

TEST(RecorderTime, PrintsReadsAndRefusesCalendarTimes) {
    EXPECT_EQ(ParseRecorderTime("2024/01/01 00:00:00.000"), 638396640000000000);
    EXPECT_EQ(FormatRecorderTime(UnixEpochTicks), "1970/01/01 00:00:00.000");
    // Every day boundary of two leap cycles and the ends of the calendar read back as written.
    for (int64_t day = 738000; day < 738000 + 2 * 1461; ++day) {
        const int64_t ticks = day * TicksPerDay + 45296789 * TicksPerMillisecond / 1000 * 1000;
        ASSERT_EQ(ParseRecorderTime(FormatRecorderTime(ticks)), ticks) << FormatRecorderTime(ticks);
    }
    for (const char* text :
         {"0001/01/01 00:00:00.000", "9999/12/31 23:59:59.999", "2024/02/29 13:05:09.007"}) {
        EXPECT_EQ(FormatRecorderTime(*ParseRecorderTime(text)), text);
    }
    EXPECT_EQ(FormatTimeForFileName(*ParseRecorderTime("2024/02/29 13:05:09.007")), "20240229-130509.007");
    EXPECT_EQ(FormatIsoTime(*ParseRecorderTime("2024/02/29 13:05:09.007")), "2024-02-29T13:05:09.007");
    EXPECT_EQ(FormatRecorderTime(std::numeric_limits<int64_t>::min()), "----/--/-- --:--:--.MIN");
    EXPECT_EQ(FormatRecorderTime(std::numeric_limits<int64_t>::max()), "++++/++/++ ++:++:++.MAX");
    EXPECT_EQ(FormatSeconds(12345678), "1.235");

    const int64_t midnight = *ParseRecorderTime("2023/06/15 00:00:00.000");
    const std::pair<const char*, int64_t> shortForms[] = {
        {"2023/06/15", midnight},
        {"2023-06-15T10:20", midnight + (10 * 3600 + 20 * 60) * TicksPerSecond},
        {"2023/06/15 10:20:30", midnight + 37230 * TicksPerSecond},
        {"2023/06/15 00:00:00.5", midnight + TicksPerSecond / 2},
        {"2023/06/15 00:00:00.0000001", midnight + 1},
    };
    for (const auto& [text, ticks] : shortForms) {
        EXPECT_EQ(ParseRecorderTime(text), ticks) << text;
    }
    for (const char* bad :
         {"", "2023/6/15", "2023/02/29", "2023/13/01", "2023/00/10", "2023/06/31", "2023/06/15 24:00",
          "2023/06/15 10:60", "2023/06/15 10:20:61", "2023/06/15 10:20:30.", "2023/06/15 00:00:00.00000001",
          "0000/01/01", "2023/06/15 10:20 ", "2023/06/15x"}) {
        EXPECT_FALSE(ParseRecorderTime(bad).has_value()) << bad;
    }
}

TEST(FrameSelection, RangeEveryAndSpread) {
    const std::vector<int64_t> times = {10, 20, 20, 30, 40, 50, 60};
    EXPECT_EQ(SelectFrames(times, {}), (std::vector<size_t>{0, 1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(SelectFrames(times, {20, 40, 1}), (std::vector<size_t>{1, 2, 3, 4}));
    EXPECT_EQ(SelectFrames(times, {20, std::nullopt, 2}), (std::vector<size_t>{1, 3, 5}));
    EXPECT_EQ(SelectFrames(times, {61, std::nullopt, 1}), std::vector<size_t>{});
    EXPECT_EQ(SpreadPositions(100, 5), (std::vector<size_t>{0, 24, 49, 74, 99}));
    EXPECT_EQ(SpreadPositions(3, 5), (std::vector<size_t>{0, 1, 2}));
    EXPECT_EQ(SpreadPositions(10, 1), std::vector<size_t>{0});
    EXPECT_TRUE(SpreadPositions(0, 4).empty());
}

TEST(FrameTiming, StreamTimesRepeatedTimesAndNoTimes) {
    constexpr int64_t Ms = 10000;
    const FrameTiming timed =
        PlanFrameTimes({5000 * Ms, 5040 * Ms, 5080 * Ms, 5200 * Ms, 5240 * Ms}, 40 * Ms);
    EXPECT_FALSE(timed.nominal);
    EXPECT_EQ(timed.ticks, (std::vector<int64_t>{0, 40 * Ms, 80 * Ms, 200 * Ms, 240 * Ms}));
    EXPECT_EQ(timed.frameTicks, 40 * Ms);

    const FrameTiming repeated = PlanFrameTimes({0, 100 * Ms, 100 * Ms, 100 * Ms + 3, 300 * Ms}, 40 * Ms);
    EXPECT_EQ(repeated.ticks, (std::vector<int64_t>{0, 100 * Ms, 101 * Ms, 102 * Ms, 300 * Ms}));
    EXPECT_EQ(repeated.adjusted, 2);

    const FrameTiming untimed = PlanFrameTimes({7, 7, 7}, 40 * Ms);
    EXPECT_TRUE(untimed.nominal);
    EXPECT_EQ(untimed.ticks, (std::vector<int64_t>{0, 40 * Ms, 80 * Ms}));
}

TEST(Json, WriterOutputParsesBackWithEscapes) {
    JsonWriter writer;
    writer.BeginObject().Member("name", std::string("a \"quoted\"\\ line\nnext\x01"));
    writer.Member("count", int64_t{-3}).Member("big", uint64_t{18446744073709551615u}).Member("ok", true);
    writer.Key("empty").BeginArray().EndArray();
    writer.Key("list").BeginArray().Integer(1).Null().Number(0.5).EndArray().EndObject();
    const nlohmann::json parsed = nlohmann::json::parse(writer.Text());
    EXPECT_EQ(parsed["name"], "a \"quoted\"\\ line\nnext\x01");
    EXPECT_EQ(parsed["count"], -3);
    EXPECT_EQ(parsed["big"].get<uint64_t>(), 18446744073709551615u);
    EXPECT_EQ(parsed["ok"], true);
    EXPECT_TRUE(parsed["empty"].empty());
    EXPECT_EQ(parsed["list"], nlohmann::json::parse("[1, null, 0.5]"));
}

} // namespace
