#include "threading/Synchronized.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/support/Threads.h"

namespace Threading {
namespace {

TEST(Synchronized, TheOperationGetsTheValueAndItsResultComesBack) {
    Synchronized<std::string> text("door");
    text.With([](std::string& value) { value += "s"; });
    EXPECT_EQ(text.With([](const std::string& value) { return value.size(); }), 5U);
}

TEST(Synchronized, AValueBeginsAsItsArgumentsMakeIt) {
    const Synchronized<std::vector<int>> values(3U, 7);
    EXPECT_EQ(values.With([](const std::vector<int>& value) { return value; }), (std::vector<int>{7, 7, 7}));
    const Synchronized<int> number;
    EXPECT_EQ(number.With([](int value) { return value; }), 0);
}

TEST(Synchronized, AnExceptionInsideLetsTheLockGo) {
    Synchronized<int> number(1);
    EXPECT_THROW(number.With([](int&) { throw 1; }), int);
    EXPECT_EQ(number.With([](int value) { return value; }), 1);
}

TEST(Synchronized, OneOperationRunsAtATime) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 1000;
    Synchronized<int> counter(0);
    Testing::OnThreads(kThreads, [&](int) {
        for (int round = 0; round < kRounds; ++round) {
            counter.With([](int& value) { ++value; });
        }
    });
    EXPECT_EQ(counter.With([](int value) { return value; }), kThreads * kRounds);
}

}  // namespace
}  // namespace Threading
