// The frames were laid out by hand and their checksums computed with Python: binascii.crc_hqx(frame, 0).

#include "benchmarks/load/AtOnceModel.h"

#include <gtest/gtest.h>

namespace Load {
namespace {

using Simulator::Frame;
using Simulator::ToHex;

Frame RequestOf(std::uint8_t code, std::uint32_t address, std::uint8_t referenceId, std::uint32_t counter) {
    Frame frame;
    frame.code = code;
    frame.deviceAddress = address;
    frame.referenceId = referenceId;
    frame.sequenceCounter = counter;
    return frame;
}

TEST(AtOnceModelTest, AnswersTheFirstRequestForTheCounterWithItsOwnCounter) {
    AtOnceModel model;
    EXPECT_FALSE(model.GaveCounter());
    EXPECT_EQ(ToHex(model.AnswerTo(RequestOf(1, 0x100, 1, 1))),
              "18FEFD13010000010000000100000100000700000001"
              "9E53");
    EXPECT_TRUE(model.GaveCounter());
}

TEST(AtOnceModelTest, AnswersEveryLaterRequestForTheCounterWithNoRoute) {
    AtOnceModel model;
    model.AnswerTo(RequestOf(1, 0x100, 1, 1));
    EXPECT_EQ(ToHex(model.AnswerTo(RequestOf(1, 0x100, 2, 2))),
              "14FEFD0F0100000200000002000001000008"
              "8660");
}

TEST(AtOnceModelTest, AcceptsARequestForALockWithItsReferenceAndCounter) {
    AtOnceModel model;
    Frame request = RequestOf(0x0A, 5, 3, 0x11223344);
    request.payload = {0, 0, 0, 0};
    EXPECT_EQ(ToHex(model.AnswerTo(request)),
              "14FEFD0F0100000311223344000000050000"
              "2A4D");
    EXPECT_FALSE(model.GaveCounter());
}

TEST(AtOnceModelTest, AcceptsEvenACounterThatItHasSeen) {
    AtOnceModel model;
    const Frame request = RequestOf(0x0A, 5, 3, 0x11223344);
    EXPECT_EQ(model.AnswerTo(request), model.AnswerTo(request));
}

TEST(AtOnceModelTest, AStatusRequestForALockDoesNotAskForTheCounter) {
    AtOnceModel model;
    EXPECT_EQ(ToHex(model.AnswerTo(RequestOf(1, 5, 4, 7))),
              "14FEFD0F0100000400000007000000050000"
              "127F");
    EXPECT_FALSE(model.GaveCounter());
}

TEST(AtOnceModelTest, RaisesACardWhoseBytesAreTheNumber) {
    EXPECT_EQ(ToHex(AtOnceModel().CardEvent(0x01020304)),
              "1FFEFD1A0100000000000001000000050E"
              "0000000000000004"
              "01020304"
              "770E");
}

}  // namespace
}  // namespace Load
