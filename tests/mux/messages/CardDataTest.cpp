#include "mux/messages/CardData.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace Mux {
namespace {

using Bytes = std::vector<unsigned char>;

// Expected bytes: the text cut into pairs by hand, last pair first.

TEST(HexToBytes, GivesTheBytesInReverseOrderOfTheText) {
    EXPECT_THAT(HexToBytes("A1B2C3"), ElementsAre(0xC3, 0xB2, 0xA1));
}

TEST(HexToBytes, ReadsAnOddNumberOfDigitsAsIfAZeroStoodInFront) {
    EXPECT_THAT(HexToBytes("ABC"), ElementsAre(0xBC, 0x0A));
    EXPECT_THAT(HexToBytes("F"), ElementsAre(0x0F));
}

TEST(HexToBytes, GivesNoBytesForAnEmptyText) {
    EXPECT_THAT(HexToBytes(""), IsEmpty());
}

TEST(HexToBytes, TakesDigitsOfEitherCase) {
    EXPECT_THAT(HexToBytes("0123456789abcdefABCDEF"),
                ElementsAre(0xEF, 0xCD, 0xAB, 0xEF, 0xCD, 0xAB, 0x89, 0x67, 0x45, 0x23, 0x01));
}

TEST(HexToBytes, CountsAnyOtherCharacterAsZero) {
    EXPECT_THAT(HexToBytes("ZZ"), ElementsAre(0x00));
    EXPECT_THAT(HexToBytes("1G"), ElementsAre(0x10));
    EXPECT_THAT(HexToBytes("g1"), ElementsAre(0x01));
    EXPECT_THAT(HexToBytes("04 A1"), ElementsAre(0xA1, 0x40, 0x00));
    EXPECT_THAT(HexToBytes("/1:2@3`4"), ElementsAre(0x04, 0x03, 0x02, 0x01));
    EXPECT_THAT(HexToBytes({'\xFF', '7', '\0', '8'}), ElementsAre(0x08, 0x07));
}

TEST(HexToBytes, TakesATextOfAnyLength) {
    EXPECT_EQ(HexToBytes(std::string(65535, 'F')).size(), 32768U);
}

TEST(BytesToHex, WritesTheLastByteFirstInUpperCaseWithTwoDigitsEach) {
    EXPECT_EQ(BytesToHex({0xC3, 0xB2, 0xA1}), "A1B2C3");
    EXPECT_EQ(BytesToHex({0xBC, 0x0A}), "0ABC");
    EXPECT_EQ(BytesToHex({}), "");
}

TEST(BytesToHex, GivesATextThatParsesToTheSameBytesForEveryByteValue) {
    Bytes all;
    for (int value = 0; value < 256; ++value) {
        all.push_back(static_cast<unsigned char>(value));
    }
    EXPECT_EQ(HexToBytes(BytesToHex(all)), all);
}

}  // namespace
}  // namespace Mux
