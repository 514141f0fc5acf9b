#include "tools/gateway-simulator/GatewayModel.h"

#include <gtest/gtest.h>

namespace Simulator {
namespace {

using std::chrono::seconds;

const Lock::TimePoint kNow = Lock::TimePoint(seconds(100));
const Bytes kCard = {0x00, 0x01, 0x03, 0x04, 0xA1, 0xB2};

class GatewayModelTest : public testing::Test {
  protected:
    GatewayModelTest() { gateway_.AddLock(Lock(5, 2)); }

    Frame Request(std::uint8_t code, const Bytes& payload = {}, std::uint32_t address = 5) {
        Frame request;
        request.referenceId = 9;
        request.sequenceCounter = 1001;
        request.deviceAddress = address;
        request.code = code;
        request.payload = payload;
        return request;
    }

    Bytes Ask(std::uint8_t code, const Bytes& payload = {}, std::uint32_t address = 5) {
        return gateway_.AnswerRequest(Request(code, payload, address), kNow).payload;
    }

    Lock& Door() { return *gateway_.FindLock(5); }

    GatewayModel gateway_{1000};
};

TEST_F(GatewayModelTest, AcceptsTheCounterAboveItsOwnAndMakesItItsOwn) {
    EXPECT_TRUE(gateway_.AcceptCounter(1001));
    EXPECT_EQ(gateway_.Counter(), 1001U);
}

TEST_F(GatewayModelTest, RefusesEveryOtherCounterAndKeepsItsOwn) {
    for (const std::uint32_t counter : {0U, 1U, 999U, 1000U, 1002U, 0xFFFFFFFFU}) {
        EXPECT_FALSE(gateway_.AcceptCounter(counter)) << counter;
    }
    EXPECT_EQ(gateway_.Counter(), 1000U);
}

TEST_F(GatewayModelTest, CountsOnFromTheLargestCounterToZero) {
    gateway_.SetCounter(0xFFFFFFFF);
    EXPECT_TRUE(gateway_.AcceptCounter(0));
}

TEST_F(GatewayModelTest, AnswersAWrongCounterWithItsOwn) {
    const Frame answer = gateway_.AnswerCounterError(Request(1));
    EXPECT_EQ(answer.code, 0);
    EXPECT_EQ(answer.payload, Bytes({7, 0x00, 0x00, 0x03, 0xE8}));
}

TEST_F(GatewayModelTest, AnswersUnderReferenceCounterAndAddressOfTheRequest) {
    const Frame answer = gateway_.AnswerRequest(Request(0x0A, {0, 0, 0, 0}), kNow);
    EXPECT_EQ(answer.headerVersion, 1);
    EXPECT_EQ(answer.referenceId, 9);
    EXPECT_EQ(answer.sequenceCounter, 1001U);
    EXPECT_EQ(answer.deviceAddress, 5U);
    EXPECT_EQ(answer.code, 0);
}

TEST_F(GatewayModelTest, AnswersGetStatusWithTheSevenStatusBytes) {
    Door().SetStatus({0x0E, 0, 0x1C, 0, 0, 0, 0x77});
    const Frame answer = gateway_.AnswerRequest(Request(0x01), kNow);
    EXPECT_EQ(answer.code, 1);
    EXPECT_EQ(answer.payload, Bytes({0x0E, 0, 0x1C, 0, 0, 0, 0x77}));
}

TEST_F(GatewayModelTest, OpenLockOpensUntilClosed) {
    EXPECT_EQ(Ask(0x0A, {0, 0, 0, 0}), Bytes{0});
    EXPECT_EQ(Door().StateAt(kNow), Lock::State::kOpen);
}

TEST_F(GatewayModelTest, OpenLockWithASecondValueOpensForThatManySeconds) {
    EXPECT_EQ(Ask(0x0A, {0, 0, 0x01, 0x02}), Bytes{0});
    EXPECT_EQ(Door().StateAt(kNow + seconds(257)), Lock::State::kOpenUntil);
    EXPECT_EQ(Door().StateAt(kNow + seconds(258)), Lock::State::kClosed);
}

TEST_F(GatewayModelTest, CloseLockClosesAtOnceForAValueOfZero) {
    Door().Open();
    EXPECT_EQ(Ask(0x0B, {0, 0}), Bytes{0});
    EXPECT_EQ(Door().StateAt(kNow), Lock::State::kClosed);
}

TEST_F(GatewayModelTest, CloseLockClosesAfterItsValueInSeconds) {
    Door().Open();
    EXPECT_EQ(Ask(0x0B, {0x01, 0x2C}), Bytes{0});
    EXPECT_EQ(Door().StateAt(kNow + seconds(299)), Lock::State::kOpenUntil);
    EXPECT_EQ(Door().StateAt(kNow + seconds(300)), Lock::State::kClosed);
}

TEST_F(GatewayModelTest, OpenCloseOpensForItsValueInSeconds) {
    EXPECT_EQ(Ask(0x09, {5}), Bytes{0});
    EXPECT_EQ(Door().StateAt(kNow + seconds(4)), Lock::State::kOpenUntil);
    EXPECT_EQ(Door().StateAt(kNow + seconds(5)), Lock::State::kClosed);
}

TEST_F(GatewayModelTest, AccessDeniedLeavesTheLockClosed) {
    EXPECT_EQ(Ask(0x08), Bytes{0});
    EXPECT_EQ(Door().StateAt(kNow), Lock::State::kClosed);
}

TEST_F(GatewayModelTest, CarriesOutTheEventVariantsOfTheLockCommands) {
    EXPECT_EQ(Ask(0x8A, {0, 0, 0, 0}), Bytes{0});
    EXPECT_EQ(Door().StateAt(kNow), Lock::State::kOpen);
    EXPECT_EQ(Ask(0x8B, {0, 0}), Bytes{0});
    EXPECT_EQ(Door().StateAt(kNow), Lock::State::kClosed);
    EXPECT_EQ(Ask(0x89, {5}), Bytes{0});
    EXPECT_EQ(Door().StateAt(kNow), Lock::State::kOpenUntil);
    EXPECT_EQ(Ask(0x88), Bytes{0});
}

TEST_F(GatewayModelTest, EventVariantEndsThePendingEvent) {
    Door().EventRaised(kCardEvent);
    Ask(0x0A, {0, 0, 0, 0});
    EXPECT_TRUE(Door().PendingEvent().has_value());
    Ask(0x8A, {0, 0, 0, 0});
    EXPECT_FALSE(Door().PendingEvent().has_value());
}

TEST_F(GatewayModelTest, AnswersUnexpectedWhenAnEventIsDemandedAndNoneIsPending) {
    Door().DemandEvent(true);
    EXPECT_EQ(Ask(0x8A, {0, 0, 0, 0}), Bytes{10});
    EXPECT_EQ(Door().StateAt(kNow), Lock::State::kClosed);
    Door().EventRaised(kPinEvent);
    EXPECT_EQ(Ask(0x8A, {0, 0, 0, 0}), Bytes{0});
    EXPECT_EQ(Ask(0x0A, {0, 0, 0, 0}), Bytes{0});
}

TEST_F(GatewayModelTest, AddsAndRemovesCards) {
    EXPECT_EQ(Ask(0x03, kCard), Bytes{0});
    ASSERT_EQ(Door().Cards().Entries().size(), 1U);
    EXPECT_EQ(Door().Cards().Entries().front().card, Bytes({0x04, 0xA1, 0xB2}));
    EXPECT_EQ(Door().Cards().Entries().front().option, 1);
    EXPECT_EQ(Ask(0x04, kCard), Bytes{0});
    EXPECT_TRUE(Door().Cards().Entries().empty());
}

TEST_F(GatewayModelTest, AnswersTwoForACardThatIsAlreadyInTheWhitelist) {
    Ask(0x03, kCard);
    EXPECT_EQ(Ask(0x03, kCard), Bytes{2});
}

TEST_F(GatewayModelTest, AnswersThreeWhenTheWhitelistIsFull) {
    Ask(0x03, {0, 0, 1, 0x11});
    Ask(0x03, {0, 0, 1, 0x22});
    EXPECT_EQ(Ask(0x03, kCard), Bytes{3});
}

TEST_F(GatewayModelTest, AnswersFourForACardThatIsNotInTheWhitelist) {
    EXPECT_EQ(Ask(0x04, kCard), Bytes{4});
}

TEST_F(GatewayModelTest, AnswersSixForACommandItDoesNotKnow) {
    for (const std::uint8_t code : Bytes{0x02, 0x0C, 0x10, 0x13, 0x15, 0x17, 0x7F, 0x81, 0x83, 0x87, 0x8C, 0xFF}) {
        EXPECT_EQ(Ask(code), Bytes{6}) << int{code};
    }
}

TEST_F(GatewayModelTest, AnswersEightForAnAddressWithoutALock) {
    EXPECT_EQ(Ask(0x01, {}, 0x100), Bytes{8});
    EXPECT_EQ(Ask(0x02, {}, 0x100), Bytes{8});
}

TEST_F(GatewayModelTest, AnswersEightForALockThatWasRemoved) {
    EXPECT_TRUE(gateway_.RemoveLock(5));
    EXPECT_FALSE(gateway_.RemoveLock(5));
    EXPECT_EQ(Ask(0x01), Bytes{8});
}

TEST_F(GatewayModelTest, AnswersNineForAPayloadOfAnotherLengthThanTheCommandHas) {
    EXPECT_EQ(Ask(0x01, {0}), Bytes{9});
    EXPECT_EQ(Ask(0x05, {0}), Bytes{9});
    EXPECT_EQ(Ask(0x08, {0}), Bytes{9});
    EXPECT_EQ(Ask(0x09), Bytes{9});
    EXPECT_EQ(Ask(0x0A, {0, 0, 0}), Bytes{9});
    EXPECT_EQ(Ask(0x8B, {0, 0, 0}), Bytes{9});
}

TEST_F(GatewayModelTest, AnswersNineWhenTheCardLengthIsNotThatOfTheCard) {
    EXPECT_EQ(Ask(0x03, {0, 0, 4, 1, 2, 3}), Bytes{9});
    EXPECT_EQ(Ask(0x03, {0, 0, 2, 1, 2, 3}), Bytes{9});
    EXPECT_EQ(Ask(0x04, {0, 0}), Bytes{9});
    EXPECT_EQ(Ask(0x03), Bytes{9});
}

TEST_F(GatewayModelTest, AnswersNineForACardWithoutBytes) {
    EXPECT_EQ(Ask(0x03, {0, 1, 0}), Bytes{9});
    EXPECT_EQ(Ask(0x04, {0, 0, 0}), Bytes{9});
}

TEST_F(GatewayModelTest, AnswersTenForFramesThatOnlyAGatewaySends) {
    for (const std::uint8_t code : Bytes{0x00, 0x0E, 0x0F, 0x11, 0x12, 0x16}) {
        EXPECT_EQ(Ask(code), Bytes{10}) << int{code};
    }
}

TEST_F(GatewayModelTest, AnswersElevenForAnotherSetupNumberThanTheLockDemands) {
    Door().Cards().DemandSetupNumber(std::uint8_t{7});
    EXPECT_EQ(Ask(0x03, kCard), Bytes{11});
    EXPECT_EQ(Ask(0x04, kCard), Bytes{11});
}

TEST_F(GatewayModelTest, ClearsEnablesAndDisablesTheWhitelist) {
    Ask(0x03, kCard);
    EXPECT_EQ(Ask(0x06), Bytes{0});
    EXPECT_FALSE(Door().Cards().IsEnabled());
    EXPECT_EQ(Ask(0x07), Bytes{0});
    EXPECT_TRUE(Door().Cards().IsEnabled());
    EXPECT_EQ(Ask(0x05), Bytes{0});
    EXPECT_TRUE(Door().Cards().Entries().empty());
}

TEST_F(GatewayModelTest, AnswersAnyResultAndTheCounterWithSeven) {
    EXPECT_EQ(gateway_.AnswerResult(Request(1), 12).payload, Bytes{12});
    EXPECT_EQ(gateway_.AnswerResult(Request(1), 7).payload, Bytes({7, 0, 0, 0x03, 0xE8}));
}

TEST_F(GatewayModelTest, KeepsTheLockItHasWhenItsAddressIsAddedAgain) {
    Door().Open();
    EXPECT_FALSE(gateway_.AddLock(Lock(5)));
    EXPECT_EQ(Door().StateAt(kNow), Lock::State::kOpen);
    EXPECT_EQ(gateway_.Locks().size(), 1U);
}

}  // namespace
}  // namespace Simulator
