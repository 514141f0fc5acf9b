#include "tools/muxctl/WaitIndicator.h"

#include <gtest/gtest.h>

#include <sstream>

namespace Muxctl {
namespace {

using namespace std::chrono_literals;

TEST(WaitIndicatorTest, TurnsAndIsWipedOutAtTheEnd) {
    std::ostringstream stream;
    {
        WaitIndicator indicator(stream, true);
        indicator.Draw(0ms);
        indicator.Draw(100ms);
        indicator.Draw(1399ms);
    }
    EXPECT_EQ(stream.str(),
              "\r\033[K| waiting for the answer, 0.0 s"
              "\r\033[K/ waiting for the answer, 0.1 s"
              "\r\033[K/ waiting for the answer, 1.3 s"
              "\r\033[K");
}

TEST(WaitIndicatorTest, WritesNothingWhenItIsNotEnabled) {
    std::ostringstream stream;
    WaitIndicator(stream, false).Draw(1s);
    EXPECT_EQ(stream.str(), "");
}

TEST(WaitIndicatorTest, WipesOutNothingWhenItWasNotDrawn) {
    std::ostringstream stream;
    { const WaitIndicator indicator(stream, true); }
    EXPECT_EQ(stream.str(), "");
}

}  // namespace
}  // namespace Muxctl
