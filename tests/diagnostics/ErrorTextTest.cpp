#include "diagnostics/Text.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace Diagnostics {
namespace {

TEST(ErrorText, AnErrorNumberHasTheTextOfTheSystem) {
    EXPECT_EQ(ErrorText(EINVAL), "Invalid argument");
    EXPECT_EQ(ErrorText(ECONNREFUSED), "Connection refused");
}

TEST(ErrorText, ANumberThatTheSystemDoesNotKnowIsNamedInTheText) {
    EXPECT_EQ(ErrorText(4711), "Unknown error 4711");
}

}  // namespace
}  // namespace Diagnostics
