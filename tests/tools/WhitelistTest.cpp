#include "tools/gateway-simulator/Whitelist.h"

#include <gtest/gtest.h>

namespace Simulator {
namespace {

Whitelist::Entry Card(std::uint8_t last, std::uint8_t setupNumber = 0) {
    return {setupNumber, 1, {0x04, 0xA1, last}};
}

TEST(WhitelistTest, KeepsWhatWasAdded) {
    Whitelist cards(2);
    EXPECT_EQ(cards.Add(Card(1, 9)), Result::kOk);
    ASSERT_EQ(cards.Entries().size(), 1U);
    EXPECT_EQ(cards.Entries().front().card, Bytes({0x04, 0xA1, 1}));
    EXPECT_EQ(cards.Entries().front().setupNumber, 9);
    EXPECT_EQ(cards.Entries().front().option, 1);
}

TEST(WhitelistTest, RefusesACardThatIsAlreadyThere) {
    Whitelist cards(2);
    cards.Add(Card(1));
    EXPECT_EQ(cards.Add(Card(1)), Result::kAlreadyInWhitelist);
    EXPECT_EQ(cards.Entries().size(), 1U);
}

TEST(WhitelistTest, RefusesACardBeyondItsCapacity) {
    Whitelist cards(2);
    cards.Add(Card(1));
    cards.Add(Card(2));
    EXPECT_EQ(cards.Add(Card(3)), Result::kWhitelistFull);
    EXPECT_EQ(cards.Entries().size(), 2U);
}

TEST(WhitelistTest, CallsAKnownCardKnownAlsoWhenFull) {
    Whitelist cards(1);
    cards.Add(Card(1));
    EXPECT_EQ(cards.Add(Card(1)), Result::kAlreadyInWhitelist);
}

TEST(WhitelistTest, HasRoomAgainAfterARemoval) {
    Whitelist cards(1);
    cards.Add(Card(1));
    EXPECT_EQ(cards.Remove(Card(1)), Result::kOk);
    EXPECT_EQ(cards.Add(Card(2)), Result::kOk);
}

TEST(WhitelistTest, CannotRemoveACardThatIsNotThere) {
    Whitelist cards(2);
    cards.Add(Card(1));
    EXPECT_EQ(cards.Remove(Card(2)), Result::kNotInWhitelist);
    EXPECT_EQ(cards.Entries().size(), 1U);
}

TEST(WhitelistTest, ClearRemovesEverything) {
    Whitelist cards(2);
    cards.Add(Card(1));
    cards.Clear();
    EXPECT_EQ(cards.Remove(Card(1)), Result::kNotInWhitelist);
}

TEST(WhitelistTest, RefusesNoCardBytesAtAll) {
    Whitelist cards(2);
    EXPECT_EQ(cards.Add({0, 1, {}}), Result::kDataLengthMismatch);
    EXPECT_EQ(cards.Remove({0, 1, {}}), Result::kDataLengthMismatch);
}

TEST(WhitelistTest, RefusesAnotherCardLengthThanDemanded) {
    Whitelist cards(2);
    cards.DemandCardLength(std::uint8_t{4});
    EXPECT_EQ(cards.Add(Card(1)), Result::kDataLengthMismatch);
    EXPECT_EQ(cards.Remove(Card(1)), Result::kDataLengthMismatch);
    cards.DemandCardLength(std::nullopt);
    EXPECT_EQ(cards.Add(Card(1)), Result::kOk);
}

TEST(WhitelistTest, RefusesAnotherSetupNumberThanDemanded) {
    Whitelist cards(2);
    cards.DemandSetupNumber(std::uint8_t{3});
    EXPECT_EQ(cards.Add(Card(1, 2)), Result::kSetupNumberMismatch);
    EXPECT_EQ(cards.Remove(Card(1, 2)), Result::kSetupNumberMismatch);
    EXPECT_EQ(cards.Add(Card(1, 3)), Result::kOk);
}

TEST(WhitelistTest, KeepsItsCardsWhenItsCapacityShrinks) {
    Whitelist cards(2);
    cards.Add(Card(1));
    cards.Add(Card(2));
    cards.SetCapacity(1);
    EXPECT_EQ(cards.Entries().size(), 2U);
    cards.Remove(Card(1));
    EXPECT_EQ(cards.Add(Card(3)), Result::kWhitelistFull);
}

TEST(WhitelistTest, IsEnabledUntilDisabled) {
    Whitelist cards(1);
    EXPECT_TRUE(cards.IsEnabled());
    cards.SetEnabled(false);
    EXPECT_FALSE(cards.IsEnabled());
}

}  // namespace
}  // namespace Simulator
