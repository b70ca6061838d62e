#include "interface/Fence.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

using namespace Vorn::Vorncast;

namespace {

std::vector<std::string> logged;

void Collect(const char*, int, int, const char* message) {
    logged.emplace_back(message);
}

class LibraryFrameTest : public ::testing::Test {
protected:
    void SetUp() override {
        logged.clear();
        VcInitRecord record{};
        record.logCallback = Collect;
        ASSERT_EQ(InitVorncastDecoders(record), 0);
    }
};

std::string FetchLastError() {
    uint32_t size = 0;
    EXPECT_EQ(GetVcLastError(&size, nullptr), 1);
    std::string text(size, '\0');
    EXPECT_EQ(GetVcLastError(&size, text.data()), 0);
    EXPECT_EQ(text.back(), '\0');
    text.pop_back();
    return text;
}

} // namespace

TEST_F(LibraryFrameTest, InitLogsStartUpLineThroughCallback) {
    ASSERT_EQ(logged.size(), 1u);
    EXPECT_EQ(logged[0], "Logging callback passed into VorncastDecoders.dll\n");
}

TEST_F(LibraryFrameTest, LastErrorKeepsLineFeedBeforeFileAndLineSuffix) {
    EXPECT_EQ(SetLastError(InvalidArgument, "DllInterface\\VorncastDecoders_Stream", 77, "bad %s\n", "thing"),
              InvalidArgument);
    EXPECT_EQ(FetchLastError(), "bad thing\n (DllInterface\\VorncastDecoders_Stream:77)");
    SetSuccess("DllInterface\\VorncastDecoders_Decoder", 5);
    EXPECT_EQ(FetchLastError(), "Operation succeeded at DllInterface\\VorncastDecoders_Decoder:5");
    EXPECT_EQ(Library().guardThread, NoThread) << "the size call frees the guard";
}

TEST_F(LibraryFrameTest, FenceTurnsExceptionsIntoStatusAndClearsGuard) {
    int status = Fence("DllInterface\\Test", 3, []() -> int { throw SeException{-1073741819}; });
    EXPECT_EQ(status, UnhandledException);
    EXPECT_EQ(FetchLastError(), "SeException with code -1073741819 finally handled\n (DllInterface\\Test:3)");
    status = Fence("DllInterface\\Test", 4, []() -> int { throw 42; });
    EXPECT_EQ(status, UnhandledException);
    EXPECT_EQ(FetchLastError(), "C++ exception finally handled\n (DllInterface\\Test:4)");
    EXPECT_EQ(Library().guardThread, NoThread);
    // A body that fails without a text of its own leaves the default one.
    EXPECT_EQ(Fence("DllInterface\\Test", 9, [] { return GeneralFailure; }), GeneralFailure);
    EXPECT_EQ(FetchLastError(), "Default condition\n (DllInterface\\Test:9)");
}

TEST_F(LibraryFrameTest, ReentryOnSameThreadPassesTheGuard) {
    int inner = -1;
    int outer = Fence("t", 1, [&] {
        inner = Fence("t", 2, [] { return Success; });
        return Success;
    });
    EXPECT_EQ(outer, Success);
    EXPECT_EQ(inner, Success);
}

using LibraryFrameDeathTest = LibraryFrameTest;

TEST_F(LibraryFrameDeathTest, SecondThreadInsideAFencedCallTraps) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            Fence("t", 1, [] {
                std::thread other([] { Fence("t", 2, [] { return Success; }); });
                other.join();
                return Success;
            });
        },
        "");
}

TEST(LibraryFrameUninitialisedDeathTest, FencedCallBeforeInitTraps) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            Library().initialised = false;
            Fence("t", 1, [] { return Success; });
        },
        "");
}
