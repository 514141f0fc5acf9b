#include "mux/messages/CardData.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Mux {
namespace {

using Bytes = std::vector<unsigned char>;

// Expected bytes: the text cut into pairs by hand, last pair first.
TEST(CardDataFromText, GivesTheBytesInReverseOrderOfTheText) {
    EXPECT_EQ(CardDataFromText(""), Bytes());
    EXPECT_EQ(CardDataFromText("A1B2C3"), (Bytes{0xC3, 0xB2, 0xA1}));
    EXPECT_EQ(CardDataFromText("0123456789abcdefABCDEF"),
              (Bytes{0xEF, 0xCD, 0xAB, 0xEF, 0xCD, 0xAB, 0x89, 0x67, 0x45, 0x23, 0x01}));
    EXPECT_EQ(CardDataFromText(std::string(65535, 'F')).size(), 32768U);
}

TEST(CardDataFromText, ReadsAnOddNumberOfDigitsAsIfAZeroStoodInFront) {
    EXPECT_EQ(CardDataFromText("ABC"), (Bytes{0xBC, 0x0A}));
    EXPECT_EQ(CardDataFromText("F"), (Bytes{0x0F}));
}

TEST(CardDataFromText, CountsAnyOtherCharacterAsZero) {
    EXPECT_EQ(CardDataFromText("ZZ"), (Bytes{0x00}));
    EXPECT_EQ(CardDataFromText("1G"), (Bytes{0x10}));
    EXPECT_EQ(CardDataFromText("04 A1"), (Bytes{0xA1, 0x40, 0x00}));
    EXPECT_EQ(CardDataFromText("/1:2@3`4g5"), (Bytes{0x05, 0x04, 0x03, 0x02, 0x01}));
    EXPECT_EQ(CardDataFromText({'\xFF', '7', '\0', '8'}), (Bytes{0x08, 0x07}));
}

TEST(CardDataToText, IsReadBackForEveryByteValue) {
    EXPECT_EQ(CardDataToText({}), "");
    EXPECT_EQ(CardDataToText({0xBC, 0x0A}), "0ABC");
    Bytes all;
    for (int value = 0; value < 256; ++value) {
        all.push_back(static_cast<unsigned char>(value));
    }
    EXPECT_EQ(CardDataFromText(CardDataToText(all)), all);
}

}  // namespace
}  // namespace Mux
