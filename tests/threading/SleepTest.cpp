#include "threading/StopFlag.h"

#include <gtest/gtest.h>

#include "tests/support/SignalStorm.h"

namespace Threading {
namespace {

using Clock = std::chrono::steady_clock;

TEST(Sleep, LastsAsLongAsItIsTold) {
    const auto begin = Clock::now();
    SleepFor(std::chrono::milliseconds(20));
    EXPECT_GE(Clock::now() - begin, std::chrono::milliseconds(20));
}

TEST(Sleep, SignalsDoNotShortenIt) {
    const Testing::SignalStorm storm;
    const auto begin = Clock::now();
    SleepFor(std::chrono::milliseconds(200));
    EXPECT_GE(Clock::now() - begin, std::chrono::milliseconds(200));
    EXPECT_GT(storm.Handled(), 1);
}

TEST(Sleep, TakesWholeSecondsAndTheirParts) {
    const auto begin = Clock::now();
    SleepFor(std::chrono::milliseconds(1010));
    EXPECT_GE(Clock::now() - begin, std::chrono::milliseconds(1010));
    EXPECT_LT(Clock::now() - begin, std::chrono::seconds(10));
}

}  // namespace
}  // namespace Threading
