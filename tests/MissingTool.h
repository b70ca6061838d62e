#pragma once

#include <gtest/gtest.h>

#include <cstdlib>

// A case that needs an outside program or encoder: skipped in a hand-built tree that lacks it, a
// failure where the test run installed it (VORNCAST_REQUIRE_TOOLS set), so a lost tool shows.
#define SKIP_OR_FAIL_FOR_MISSING(what)                                                                       \
    do {                                                                                                     \
        if (std::getenv("VORNCAST_REQUIRE_TOOLS") != nullptr) {                                              \
            GTEST_FAIL() << (what) << " is missing, and this run requires it";                               \
        }                                                                                                    \
        GTEST_SKIP() << (what) << " is missing";                                                             \
    } while (false)
