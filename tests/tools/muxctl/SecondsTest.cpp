#include "tools/muxctl/Seconds.h"

#include <gtest/gtest.h>

namespace Muxctl {
namespace {

using namespace std::chrono_literals;

TEST(SecondsTest, HasOneDecimalRoundedDown) {
    EXPECT_EQ(SecondsText(0ms), "0.0 s");
    EXPECT_EQ(SecondsText(99ms), "0.0 s");
    EXPECT_EQ(SecondsText(650ms), "0.6 s");
    EXPECT_EQ(SecondsText(12000ms), "12.0 s");
}

}  // namespace
}  // namespace Muxctl
