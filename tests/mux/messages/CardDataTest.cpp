#include "mux/messages/CardData.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace Mux {
namespace {

using Bytes = std::vector<unsigned char>;

// Expected bytes: the text cut into pairs by hand, last pair first.

TEST(CardDataFromText, GivesTheBytesInReverseOrderOfTheText) {
    EXPECT_THAT(CardDataFromText("A1B2C3"), ElementsAre(0xC3, 0xB2, 0xA1));
}

TEST(CardDataFromText, ReadsAnOddNumberOfDigitsAsIfAZeroStoodInFront) {
    EXPECT_THAT(CardDataFromText("ABC"), ElementsAre(0xBC, 0x0A));
    EXPECT_THAT(CardDataFromText("F"), ElementsAre(0x0F));
}

TEST(CardDataFromText, GivesNoBytesForAnEmptyText) {
    EXPECT_THAT(CardDataFromText(""), IsEmpty());
}

TEST(CardDataFromText, TakesDigitsOfEitherCase) {
    EXPECT_THAT(CardDataFromText("0123456789abcdefABCDEF"),
                ElementsAre(0xEF, 0xCD, 0xAB, 0xEF, 0xCD, 0xAB, 0x89, 0x67, 0x45, 0x23, 0x01));
}

TEST(CardDataFromText, CountsAnyOtherCharacterAsZero) {
    EXPECT_THAT(CardDataFromText("ZZ"), ElementsAre(0x00));
    EXPECT_THAT(CardDataFromText("1G"), ElementsAre(0x10));
    EXPECT_THAT(CardDataFromText("g1"), ElementsAre(0x01));
    EXPECT_THAT(CardDataFromText("04 A1"), ElementsAre(0xA1, 0x40, 0x00));
    EXPECT_THAT(CardDataFromText("/1:2@3`4"), ElementsAre(0x04, 0x03, 0x02, 0x01));
    EXPECT_THAT(CardDataFromText({'\xFF', '7', '\0', '8'}), ElementsAre(0x08, 0x07));
}

TEST(CardDataFromText, TakesATextOfAnyLength) {
    EXPECT_EQ(CardDataFromText(std::string(65535, 'F')).size(), 32768U);
}

TEST(CardDataToText, WritesTheLastByteFirstInUpperCaseWithTwoDigitsEach) {
    EXPECT_EQ(CardDataToText({0xC3, 0xB2, 0xA1}), "A1B2C3");
    EXPECT_EQ(CardDataToText({0xBC, 0x0A}), "0ABC");
    EXPECT_EQ(CardDataToText({}), "");
}

TEST(CardDataToText, GivesATextThatParsesToTheSameBytesForEveryByteValue) {
    Bytes all;
    for (int value = 0; value < 256; ++value) {
        all.push_back(static_cast<unsigned char>(value));
    }
    EXPECT_EQ(CardDataFromText(CardDataToText(all)), all);
}

}  // namespace
}  // namespace Mux
