#include "threading/StopFlag.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <thread>

#include "tests/support/SignalStorm.h"

namespace Threading {
namespace {

using Clock = std::chrono::steady_clock;

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

TEST(StopFlag, ASleepLastsItsWholeTimeUntilStopped) {
    StopFlag stop;
    const auto begin = Clock::now();
    EXPECT_TRUE(stop.SleepFor(std::chrono::milliseconds(20)));
    EXPECT_GE(Clock::now() - begin, std::chrono::milliseconds(20));
    EXPECT_FALSE(stop.IsStopped());
}

TEST(StopFlag, StoppingWakesEverySleeper) {
    StopFlag stop;
    std::atomic<int> woken{0};
    const auto sleep = [&] {
        EXPECT_FALSE(stop.SleepFor(std::chrono::minutes(10)));
        ++woken;
    };
    std::thread first(sleep);
    std::thread second(sleep);
    stop.Stop();
    first.join();
    second.join();
    EXPECT_EQ(woken, 2);
    EXPECT_TRUE(stop.IsStopped());
}

TEST(StopFlag, NobodySleepsAfterItWasStopped) {
    StopFlag stop;
    stop.Stop();
    EXPECT_FALSE(stop.SleepFor(std::chrono::minutes(10)));
}

void* SleepLong(void* stop) {
    static_cast<StopFlag*>(stop)->SleepFor(std::chrono::minutes(10));
    return nullptr;
}

TEST(StopFlag, ACancelledSleeperLeavesItUsable) {
    StopFlag stop;
    pthread_t thread = 0;
    ASSERT_EQ(pthread_create(&thread, nullptr, SleepLong, &stop), 0);
    pthread_cancel(thread);
    void* result = nullptr;
    EXPECT_EQ(pthread_join(thread, &result), 0);
    EXPECT_EQ(result, PTHREAD_CANCELED);
    EXPECT_TRUE(stop.SleepFor(std::chrono::milliseconds(1)));
    stop.Stop();
    EXPECT_TRUE(stop.IsStopped());
}

}  // namespace
}  // namespace Threading
