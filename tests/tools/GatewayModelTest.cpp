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

TEST_F(GatewayModelTest, AnswersGetStatusWithTheSevenStatusBytes) {
    Door().SetStatus({0x0E, 0, 0x1C, 0, 0, 0, 0x77});
    const Frame answer = gateway_.AnswerRequest(Request(0x01), kNow);
    EXPECT_EQ(answer.code, 1);
    EXPECT_EQ(answer.payload, Bytes({0x0E, 0, 0x1C, 0, 0, 0, 0x77}));
}

struct LockCase {
    std::uint8_t code;
    Bytes payload;
    // Before the command, after it until the time, and from the time on.
    bool wasOpen;
    Lock::State before;
    seconds time;
    Lock::State after;
};

TEST_F(GatewayModelTest, CarriesOutLockCommandsAndTheirEventVariants) {
    using State = Lock::State;
    const std::vector<LockCase> cases = {
        {0x0A, {0, 0, 0, 0}, false, State::kOpen, seconds(100000), State::kOpen},
        {0x0A, {0, 0, 0x01, 0x02}, false, State::kOpenUntil, seconds(258), State::kClosed},
        {0x0B, {0, 0}, true, State::kClosed, seconds(1), State::kClosed},
        {0x0B, {0x01, 0x2C}, true, State::kOpenUntil, seconds(300), State::kClosed},
        {0x0B, {0x01, 0x2C}, false, State::kClosed, seconds(300), State::kClosed},
        {0x09, {5}, false, State::kOpenUntil, seconds(5), State::kClosed},
        {0x08, {}, false, State::kClosed, seconds(1), State::kClosed},
        {0x8A, {0, 0, 0, 0}, false, State::kOpen, seconds(100000), State::kOpen},
        {0x8B, {0, 0}, true, State::kClosed, seconds(1), State::kClosed},
        {0x89, {5}, false, State::kOpenUntil, seconds(5), State::kClosed},
        {0x88, {}, false, State::kClosed, seconds(1), State::kClosed},
    };
    for (const LockCase& row : cases) {
        SCOPED_TRACE(testing::PrintToString(int{row.code}) + testing::PrintToString(row.payload));
        gateway_.RemoveLock(5);
        gateway_.AddLock(Lock(5, 2));
        if (row.wasOpen) {
            Door().Open();
        }
        EXPECT_EQ(Ask(row.code, row.payload), Bytes{0});
        EXPECT_EQ(Door().StateAt(kNow), row.before);
        EXPECT_EQ(Door().StateAt(kNow + row.time - std::chrono::milliseconds(1)), row.before);
        EXPECT_EQ(Door().StateAt(kNow + row.time), row.after);
    }
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

TEST_F(GatewayModelTest, RefusesCards) {
    EXPECT_EQ(Ask(0x04, kCard), Bytes{4}) << "not in the whitelist";
    EXPECT_EQ(Ask(0x03, kCard), Bytes{0});
    EXPECT_EQ(Ask(0x03, kCard), Bytes{2}) << "already in the whitelist";
    EXPECT_EQ(Ask(0x03, {0, 0, 1, 0x11}), Bytes{0});
    EXPECT_EQ(Ask(0x03, {0, 0, 1, 0x22}), Bytes{3}) << "full";
    EXPECT_EQ(Ask(0x03, kCard), Bytes{2}) << "known and full";
    for (const Bytes& payload : std::vector<Bytes>{{0, 0, 4, 1, 2, 3}, {0, 0, 2, 1, 2, 3}, {0, 0}, {}, {0, 1, 0}}) {
        EXPECT_EQ(Ask(0x03, payload), Bytes{9}) << testing::PrintToString(payload);
        EXPECT_EQ(Ask(0x04, payload), Bytes{9}) << testing::PrintToString(payload);
    }
}

TEST_F(GatewayModelTest, AnswersNineForAPayloadOfAnotherLengthThanTheCommandHas) {
    const std::vector<std::pair<std::uint8_t, Bytes>> cases = {{0x01, {0}}, {0x05, {0}},       {0x08, {0}},
                                                               {0x09, {}},  {0x0A, {0, 0, 0}}, {0x8B, {0, 0, 0}}};
    for (const auto& [code, payload] : cases) {
        EXPECT_EQ(Ask(code, payload), Bytes{9}) << int{code};
    }
}

TEST_F(GatewayModelTest, AnswersSixForACommandItDoesNotKnow) {
    for (const std::uint8_t code : Bytes{0x02, 0x0C, 0x10, 0x13, 0x15, 0x17, 0x7F, 0x81, 0x83, 0x87, 0x8C, 0xFF}) {
        EXPECT_EQ(Ask(code), Bytes{6}) << int{code};
    }
}

TEST_F(GatewayModelTest, AnswersEightForALockThatWasRemoved) {
    EXPECT_TRUE(gateway_.RemoveLock(5));
    EXPECT_FALSE(gateway_.RemoveLock(5));
    EXPECT_EQ(Ask(0x01), Bytes{8});
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
