#include "benchmarks/load/Waiting.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "benchmarks/load/Clock.h"

namespace Load {
namespace {

using std::chrono::milliseconds;

TEST(WaitingTest, RunsHandlersUntilTheConditionHolds) {
    asio::io_context loop;
    int handled = 0;
    for (int count = 0; count < 5; ++count) {
        asio::post(loop, [&] { ++handled; });
    }
    RunUntil(
        loop, [&] { return handled == 3; }, "three handlers");
    EXPECT_EQ(handled, 3);
}

TEST(WaitingTest, SaysWhatDidNotHappenInTime) {
    asio::io_context loop;
    try {
        RunUntil(
            loop, [] { return false; }, "a miracle", milliseconds(20));
        FAIL() << "it returned";
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(std::string(error.what()), "not in time: a miracle");
    }
}

TEST(WaitingTest, RunsHandlersForAsLongAsItIsTold) {
    asio::io_context loop;
    asio::steady_timer timer(loop, milliseconds(10));
    bool fired = false;
    timer.async_wait([&](const asio::error_code&) { fired = true; });
    asio::steady_timer late(loop, std::chrono::hours(1));
    late.async_wait([](const asio::error_code&) {});
    const Clock::time_point start = Clock::now();
    RunFor(loop, milliseconds(50));
    EXPECT_TRUE(fired);
    EXPECT_GE(Clock::now() - start, milliseconds(50));
}

// The shortest of many, for this machine may be busy.
TEST(WaitingTest, ARunOfLessThanAMillisecondTakesLessThanAMillisecond) {
    asio::io_context loop;
    std::chrono::nanoseconds shortest = std::chrono::seconds(1);
    for (int count = 0; count < 100; ++count) {
        const Clock::time_point start = Clock::now();
        RunFor(loop, std::chrono::microseconds(200));
        shortest = std::min<std::chrono::nanoseconds>(shortest, Clock::now() - start);
    }
    EXPECT_GE(shortest, std::chrono::microseconds(200));
    EXPECT_LT(shortest, std::chrono::microseconds(900));
}

}  // namespace
}  // namespace Load
