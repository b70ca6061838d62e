#include "core/decoder/WaitEvent.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace Vorn::Vorncast::Decoders {
namespace {

TEST(WaitEventTest, SignalIsTakenByOneWait) {
    WaitEvent event;
    EXPECT_FALSE(event.IsSignalled());
    event.Set();
    EXPECT_TRUE(event.IsSignalled());
    event.Wait();
    EXPECT_FALSE(event.IsSignalled());
}

TEST(WaitEventTest, ResetWithdrawsTheSignal) {
    WaitEvent event;
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

TEST(WaitEventTest, WaitAnyWakesWhenAnotherThreadSignals) {
    WaitEvent idle;
    WaitEvent done;
    WaitObject events[] = {&idle, &done};
    std::thread worker([&done] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        done.Set();
    });
    EXPECT_EQ(WaitEvent::WaitAny(events, 2), 1);
    worker.join();
    EXPECT_FALSE(done.IsSignalled());
}

} // namespace
} // namespace Vorn::Vorncast::Decoders
