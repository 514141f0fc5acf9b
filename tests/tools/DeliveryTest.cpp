// The frames were laid out by hand and their checksums computed with Python: binascii.crc_hqx(frame, 0).

#include "tools/gateway-simulator/Delivery.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/Hex.h"

namespace Simulator {
namespace {

using std::chrono::milliseconds;

const std::string kAnswer = "14 FE FD 0F 01 00 00 03 00 00 03 E9 00 00 00 05 00 00 D9 DC";

Delivery Plan(const std::vector<Fault>& faults) {
    Frame answer;
    answer.referenceId = 3;
    answer.sequenceCounter = 1001;
    answer.deviceAddress = 5;
    answer.payload = {0};
    return PlanDelivery(answer, faults);
}

// The writes with a bar between.
std::string Writes(const std::vector<Fault>& faults) {
    std::string text;
    for (const Bytes& bytes : Plan(faults).writes) {
        text += (text.empty() ? "" : " | ") + Testing::ToHex(bytes);
    }
    return text;
}

TEST(DeliveryTest, IsOneWriteAtOnceWithoutFaults) {
    const Delivery delivery = Plan({});
    EXPECT_EQ(Writes({}), kAnswer);
    EXPECT_EQ(delivery.delay, milliseconds(0));
    EXPECT_EQ(delivery.ending, Delivery::Ending::kNone);
    EXPECT_FALSE(delivery.holdForNext);
}

TEST(DeliveryTest, DelaysTheAnswer) {
    EXPECT_EQ(Plan({Fault::Delay(milliseconds(70))}).delay, milliseconds(70));
    EXPECT_EQ(Writes({Fault::Delay(milliseconds(70))}), kAnswer);
}

TEST(DeliveryTest, WritesNothingForSilence) {
    EXPECT_EQ(Writes({Fault::Silence(), Fault::Twice()}), "");
}

TEST(DeliveryTest, ClosesOrResetsInsteadOfWriting) {
    EXPECT_EQ(Writes({Fault::Close()}), "");
    EXPECT_EQ(Plan({Fault::Close()}).ending, Delivery::Ending::kClose);
    EXPECT_EQ(Writes({Fault::Reset()}), "");
    EXPECT_EQ(Plan({Fault::Reset()}).ending, Delivery::Ending::kReset);
}

TEST(DeliveryTest, ClosesInTheMiddleOfTheFrame) {
    EXPECT_EQ(Writes({Fault::CloseMidFrame()}), "14 FE FD 0F 01 00 00 03 00 00");
    EXPECT_EQ(Plan({Fault::CloseMidFrame()}).ending, Delivery::Ending::kClose);
}

TEST(DeliveryTest, WritesByteByByteWithAPause) {
    const Delivery delivery = Plan({Fault::ByteByByte(milliseconds(3))});
    ASSERT_EQ(delivery.writes.size(), 20U);
    EXPECT_EQ(delivery.writes.at(0), Bytes{0x14});
    EXPECT_EQ(delivery.writes.at(19), Bytes{0xDC});
    EXPECT_EQ(delivery.pause, milliseconds(3));
}

TEST(DeliveryTest, HoldsTheAnswerToGlueIt) {
    EXPECT_TRUE(Plan({Fault::Glue()}).holdForNext);
}

TEST(DeliveryTest, PutsJunkInFront) {
    EXPECT_EQ(Writes({Fault::Junk({0xDE, 0xAD})}), "DE AD " + kAnswer);
}

TEST(DeliveryTest, InvertsTheCrc) {
    EXPECT_EQ(Writes({Fault::WrongCrc()}), "14 FE FD 0F 01 00 00 03 00 00 03 E9 00 00 00 05 00 00 26 23");
}

TEST(DeliveryTest, ChangesTheLengthByte) {
    EXPECT_EQ(Writes({Fault::WrongLength(0xFF)}), "FF FE FD 0F 01 00 00 03 00 00 03 E9 00 00 00 05 00 00 D9 DC");
}

TEST(DeliveryTest, AnswersUnderAnotherReferenceWithAGoodCrc) {
    EXPECT_EQ(Writes({Fault::UnknownReference()}), "14 FE FD 0F 01 00 00 23 00 00 03 E9 00 00 00 05 00 00 73 A6");
}

TEST(DeliveryTest, AnswersWithAnotherCodeAndAGoodCrc) {
    EXPECT_EQ(Writes({Fault::AnswerCode(0x33)}), "14 FE FD 0F 01 00 00 03 00 00 03 E9 00 00 00 05 33 00 89 1A");
}

TEST(DeliveryTest, WritesTheAnswerTwice) {
    EXPECT_EQ(Writes({Fault::Twice()}), kAnswer + " | " + kAnswer);
}

TEST(DeliveryTest, CombinesFaultsWhateverTheirOrder) {
    const std::string spoilt = "14 FE FD 0F 01 00 00 03 00 00 03 E9 00 00 00 05 00 00 26 23";
    EXPECT_EQ(Writes({Fault::Junk({0xAA}), Fault::Twice(), Fault::WrongCrc()}), "AA " + spoilt + " | " + spoilt);
}

TEST(DeliveryTest, AppliesOnlyTheLatestOfOneKind) {
    EXPECT_EQ(Writes({Fault::WrongCrc().ForLock(5), Fault::WrongCrc()}),
              "14 FE FD 0F 01 00 00 03 00 00 03 E9 00 00 00 05 00 00 26 23");
    EXPECT_EQ(Writes({Fault::Junk({0xAA}).ForLock(5), Fault::Junk({0xBB})}), "BB " + kAnswer);
}

}  // namespace
}  // namespace Simulator
