#include "messages/AnswerPayloads.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/messages/WireBytes.h"

namespace Brenk::Messages {
namespace {

using Testing::Bytes;
using Testing::CutTo;
using Testing::FromHex;
using Testing::Serialized;

constexpr BrenkGetStatusPayload::StatusBytes kNoStatus = {};

// Written by hand from the frame layout; CRC by python3, binascii.crc_hqx(data, 0).
Bytes AnswerFrame() {
    return FromHex("1A FE FD 15 01 00 00 05 00 00 01 00 00 00 01 02 01 0E 00 1C 00 00 00 00 8C B1");
}

TEST(BrenkGetStatusPayload, TheRequestHasDataType2AndNoBytes) {
    BrenkGetStatusPayload payload;
    EXPECT_EQ(payload.DataType(), 2);
    EXPECT_EQ(Serialized(payload), Bytes());
    EXPECT_EQ(payload.StatusData(), kNoStatus);
}

TEST(BrenkGetStatusPayload, TheAnswerHoldsFrameBytes17To23) {
    Bytes frame = FromHex("1A FE FD 15 01 00 00 05 00 00 01 00 00 00 01 02 01 A1 A2 A3 A4 A5 A6 A7 00 00");
    BrenkGetStatusPayload payload(frame);
    EXPECT_EQ(payload.DataType(), 2);
    EXPECT_EQ(payload.StatusData(), (BrenkGetStatusPayload::StatusBytes{0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0xA7}));
    EXPECT_EQ(Serialized(payload), Bytes()) << "status is never sent";
}

TEST(BrenkGetStatusPayload, AnEmptyFrameGivesNoStatus) {
    Bytes frame;
    EXPECT_EQ(BrenkGetStatusPayload(frame).StatusData(), kNoStatus);
    EXPECT_EQ(BrenkGetStatusPayload(frame).DataType(), 2);
}

TEST(BrenkGetStatusPayload, AFrameShorterThan24BytesIsOutOfRange) {
    for (std::size_t length = 1; length < 24; ++length) {
        Bytes frame = CutTo(AnswerFrame(), length);
        EXPECT_THROW(BrenkGetStatusPayload{frame}, std::out_of_range) << length;
    }
    Bytes frame = CutTo(AnswerFrame(), 24);
    EXPECT_NO_THROW(BrenkGetStatusPayload{frame});
}

}  // namespace
}  // namespace Brenk::Messages
