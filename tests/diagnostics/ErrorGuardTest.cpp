#include "diagnostics/ErrorGuard.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace Diagnostics {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> calls;

void CallFirst() {
    calls.emplace_back("first handler");
}

void CallSecond() {
    calls.emplace_back("second handler");
}

void Observe(std::uint32_t secondCounter, int kind) {
    calls.push_back("observer " + std::to_string(secondCounter) + " " + std::to_string(kind));
}

class ErrorGuardTest : public testing::Test {
  protected:
    ErrorGuardTest() { calls.clear(); }

    ErrorGuard guard_;
};

TEST_F(ErrorGuardTest, AGuardThatWasNeverConfiguredOnlyCounts) {
    guard_.Report(ErrorKind::kSocket);
    guard_.Report(ErrorKind::kSocket);
    guard_.Report(ErrorKind::kConnection);
    EXPECT_EQ(guard_.SecondCounter(), 2U);
    EXPECT_EQ(guard_.FirstCounter(), 1U);
    EXPECT_THAT(calls, IsEmpty());
}

TEST_F(ErrorGuardTest, EachReportCallsTheFirstHandlerAndThenTheObserverWithTheSecondCounterAndTheKind) {
    guard_.Configure({750, 5000, CallFirst, CallSecond, Observe});
    guard_.Report(ErrorKind::kConnection);
    guard_.Report(ErrorKind::kSocket);
    EXPECT_THAT(calls, ElementsAre("first handler", "observer 0 1", "first handler", "observer 1 0"));
}

TEST_F(ErrorGuardTest, WithoutHandlerOrObserverTheOtherIsStillCalled) {
    guard_.Configure({750, 5000, CallFirst, CallSecond, nullptr});
    guard_.Report(ErrorKind::kConnection);
    guard_.Configure({750, 5000, nullptr, CallSecond, Observe});
    guard_.Report(ErrorKind::kSocket);
    EXPECT_THAT(calls, ElementsAre("first handler", "observer 1 0"));
}

TEST_F(ErrorGuardTest, ASecondLimitOf0KeepsTheHandlerFromReportsOfKind0Only) {
    guard_.Configure({750, 0, CallFirst, CallSecond, Observe});
    guard_.Report(ErrorKind::kSocket);
    guard_.Report(ErrorKind::kConnection);
    EXPECT_THAT(calls, ElementsAre("observer 1 0", "first handler", "observer 1 1"));
}

TEST_F(ErrorGuardTest, AFirstLimitOf0KeepsTheHandlerFromReportsOfKind1Only) {
    guard_.Configure({0, 5000, CallFirst, CallSecond, Observe});
    guard_.Report(ErrorKind::kConnection);
    guard_.Report(ErrorKind::kSocket);
    EXPECT_THAT(calls, ElementsAre("observer 0 1", "first handler", "observer 1 0"));
}

TEST_F(ErrorGuardTest, ReportsOfManyThreadsAreAllCounted) {
    constexpr int kThreads = 4;
    constexpr std::uint32_t kReports = 1000;
    std::vector<std::thread> threads;
    for (int index = 0; index < kThreads; ++index) {
        threads.emplace_back([this] {
            for (std::uint32_t report = 0; report < kReports; ++report) {
                guard_.Report(ErrorKind::kSocket);
                guard_.Report(ErrorKind::kConnection);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(guard_.FirstCounter(), kThreads * kReports);
    EXPECT_EQ(guard_.SecondCounter(), kThreads * kReports);
}

}  // namespace
}  // namespace Diagnostics
