#include "diagnostics/Text.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace Diagnostics {
namespace {

TEST(ErrorText, IsThatOfTheSystemAndNamesANumberThatItDoesNotKnow) {
    EXPECT_EQ(ErrorText(EINVAL), "Invalid argument");
    EXPECT_EQ(ErrorText(4711), "Unknown error 4711");
}

TEST(HexText, IsUpperCaseWithTheSeparatorBetweenTheBytes) {
    EXPECT_EQ(BytesToHex({0x00, 0x0A, 0xAB, 0xFF}), "00 0A AB FF");
    EXPECT_EQ(BytesToHex({0x04, 0xA1, 0xB2, 0xC3}, ""), "04A1B2C3");
    EXPECT_EQ(BytesToHex({0x7F}, ", "), "7F");
    EXPECT_EQ(BytesToHex({}), "");
}

}  // namespace
}  // namespace Diagnostics
