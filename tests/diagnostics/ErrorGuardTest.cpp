#include "diagnostics/ErrorGuard.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/Threads.h"

namespace Diagnostics {
namespace {

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

TEST(ErrorGuard, AReportCallsTheFirstHandlerAndThenTheObserver) {
    const struct {
        const char* what;
        ErrorGuard::Configuration configuration;
        std::vector<std::string> calls;  // of a report of kind 0, then one of kind 1
    } cases[] = {
        {"never configured", {}, {}},
        {"all of it",
         {750, 5000, CallFirst, CallSecond, Observe},
         {"first handler", "observer 1 0", "first handler", "observer 1 1"}},
        {"no observer", {750, 5000, CallFirst, CallSecond, nullptr}, {"first handler", "first handler"}},
        {"no first handler", {750, 5000, nullptr, CallSecond, Observe}, {"observer 1 0", "observer 1 1"}},
        {"a second limit of 0",
         {750, 0, CallFirst, CallSecond, Observe},
         {"observer 1 0", "first handler", "observer 1 1"}},
        {"a first limit of 0",
         {0, 5000, CallFirst, CallSecond, Observe},
         {"first handler", "observer 1 0", "observer 1 1"}},
    };
    for (const auto& tested : cases) {
        ErrorGuard guard;
        guard.Configure(tested.configuration);
        calls.clear();
        guard.Report(ErrorKind::kSocket);
        EXPECT_EQ(guard.SecondCounter(), 1U);
        EXPECT_EQ(guard.FirstCounter(), 0U);
        guard.Report(ErrorKind::kConnection);
        EXPECT_EQ(guard.SecondCounter(), 1U);
        EXPECT_EQ(guard.FirstCounter(), 1U);
        EXPECT_EQ(calls, tested.calls) << tested.what;
    }
}

TEST(ErrorGuard, ReportsOfManyThreadsAreAllCounted) {
    constexpr int kThreads = 4;
    constexpr std::uint32_t kReports = 1000;
    ErrorGuard guard;
    Testing::OnThreads(kThreads, [&guard](int) {
        for (std::uint32_t report = 0; report < kReports; ++report) {
            guard.Report(ErrorKind::kSocket);
            guard.Report(ErrorKind::kConnection);
        }
    });
    EXPECT_EQ(guard.FirstCounter(), kThreads * kReports);
    EXPECT_EQ(guard.SecondCounter(), kThreads * kReports);
}

}  // namespace
}  // namespace Diagnostics
