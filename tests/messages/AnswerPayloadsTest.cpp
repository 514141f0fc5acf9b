#include "messages/AnswerPayloads.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "messages/Codes.h"
#include "tests/messages/WireBytes.h"

// Frames written by hand from the frame layout; their CRC by python3, binascii.crc_hqx(data, 0).

namespace Brenk::Messages {
namespace {

using Testing::Bytes;
using Testing::CutTo;
using Testing::FromHex;
using Testing::Serialized;
using Testing::WithByte;

constexpr std::size_t kResponseCodeOffset = 17;

Bytes CodeThreeFrame() {
    return FromHex("14 FE FD 0F 01 00 00 05 00 00 01 00 00 00 01 02 00 03 57 E6");
}

Bytes CodeSevenFrame() {
    return FromHex("18 FE FD 13 01 00 00 05 00 00 01 00 00 00 01 02 00 07 00 00 01 00 9D 2E");
}

TEST(BrenkResponsePayload, Code7CarriesTheGatewaysSequenceCounter256) {
    Bytes frame = CodeSevenFrame();
    BrenkResponsePayload payload(frame);
    EXPECT_EQ(payload.DataType(), 0);
    EXPECT_EQ(payload.ResponseCode(), BRENK_RESPONSE_SEQUENCE_COUNTER_ERROR);
    EXPECT_EQ(payload.CurrentSequenceCounter(), 256U);
    EXPECT_EQ(Serialized(payload), FromHex("07 00 00 01 00"));
}

TEST(BrenkResponsePayload, TheSequenceCounterIsBigEndianAndUsesAll32Bits) {
    Bytes frame = FromHex("18 FE FD 13 01 00 00 05 00 00 01 00 00 00 01 02 00 07 FE DC BA 98 00 00");
    BrenkResponsePayload payload(frame);
    EXPECT_EQ(payload.CurrentSequenceCounter(), 0xFEDCBA98U);
    EXPECT_EQ(Serialized(payload), FromHex("07 FE DC BA 98"));
}

TEST(BrenkResponsePayload, Code3HasSequenceCounterZeroAndSerialisesToOneByte) {
    Bytes frame = CodeThreeFrame();
    BrenkResponsePayload payload(frame);
    EXPECT_EQ(payload.ResponseCode(), BRENK_RESPONSE_WHITELIST_FULL);
    EXPECT_EQ(payload.CurrentSequenceCounter(), 0U);
    EXPECT_EQ(Serialized(payload), FromHex("03"));
}

TEST(BrenkResponsePayload, EveryCodeButSevenIsReadWithoutACounterEvenIfBytesFollow) {
    for (int code = 0; code <= 255; ++code) {
        if (code == BRENK_RESPONSE_SEQUENCE_COUNTER_ERROR) {
            continue;
        }
        const auto byte = static_cast<unsigned char>(code);
        Bytes frame = WithByte(CodeSevenFrame(), kResponseCodeOffset, byte);
        BrenkResponsePayload payload(frame);
        EXPECT_EQ(payload.ResponseCode(), code);
        EXPECT_EQ(payload.CurrentSequenceCounter(), 0U);
        EXPECT_EQ(Serialized(payload), Bytes{byte});
    }
}

TEST(BrenkResponsePayload, AFrameThatEndsBeforeTheCodeIsOutOfRange) {
    for (const std::size_t length : {std::size_t{0}, std::size_t{1}, std::size_t{17}}) {
        Bytes frame = CutTo(CodeThreeFrame(), length);
        EXPECT_THROW(BrenkResponsePayload{frame}, std::out_of_range) << length;
    }
}

TEST(BrenkResponsePayload, AFrameThatEndsInsideTheCounterIsOutOfRange) {
    for (std::size_t length = 18; length < 22; ++length) {
        Bytes frame = CutTo(CodeSevenFrame(), length);
        EXPECT_THROW(BrenkResponsePayload{frame}, std::out_of_range) << length;
    }
}

constexpr BrenkGetStatusPayload::StatusBytes kNoStatus = {};

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
