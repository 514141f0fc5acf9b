#include "tools/muxctl/CommandLine.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>

namespace Muxctl {
namespace {

using namespace std::chrono_literals;

std::chrono::milliseconds TimeoutOf(const char* seconds) {
    const std::array<const char*, 4> arguments = {"muxctl", "health", "--timeout", seconds};
    return ParseCommandLine(static_cast<int>(arguments.size()), arguments.data()).options.timeout;
}

// A thousand times these numbers is, in binary, less than the milliseconds that they stand for.
TEST(CommandLineTest, TakesAllMillisecondsOfATimeout) {
    EXPECT_EQ(TimeoutOf("1.001"), 1001ms);
    EXPECT_EQ(TimeoutOf("32.3"), 32300ms);
    EXPECT_EQ(TimeoutOf("15"), 15000ms);
}

}  // namespace
}  // namespace Muxctl
