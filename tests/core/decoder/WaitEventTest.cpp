#include "core/decoder/WaitEvent.h"

#include <gtest/gtest.h>

#include <chrono>

namespace Vorn::Vorncast::Decoders {
namespace {

TEST(WaitEventTest, SignalIsTakenByOneWaitOrWithdrawnByReset) {
    WaitEvent event;
    event.Set();
    EXPECT_TRUE(event.IsSignalled());
    event.Wait();
    EXPECT_FALSE(event.IsSignalled());
    event.Set();
    event.Reset();
    EXPECT_FALSE(event.IsSignalled());
}

TEST(WaitEventTest, WaitAnyGivesTheLowestSignalledAndClearsOnlyIt) {
    WaitEvent first;
    WaitEvent second;
    WaitEvent third;
    WaitObject events[] = {&first, &second, &third};
    third.Set();
    second.Set();

    EXPECT_EQ(WaitEvent::WaitAny(events, 3), 1);
    EXPECT_FALSE(second.IsSignalled());
    EXPECT_TRUE(third.IsSignalled());
    EXPECT_EQ(WaitEvent::WaitAny(events, 3), 2);
}

TEST(WaitEventTest, WaitAnyRefusesMissingEvents) {
    WaitEvent event;
    event.Set();
    WaitObject events[] = {&event, nullptr};
    EXPECT_EQ(WaitEvent::WaitAny(events, 2), -1);
    EXPECT_EQ(WaitEvent::WaitAny(nullptr, 1), -1);
    EXPECT_EQ(WaitEvent::WaitAny(events, 0), -1);
    EXPECT_TRUE(event.IsSignalled());
}

} // namespace
} // namespace Vorn::Vorncast::Decoders
