#include "messages/BrenkMessage.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/messages/WireBytes.h"

// Expected bytes written by hand from the frame layout.

namespace Brenk::Messages {
namespace {

using Testing::Bytes;
using Testing::CutTo;
using Testing::FromHex;

// Every field another value, so that none can stand in for another.
Bytes DistinctBytes() {
    return FromHex("11 12 13 14 15 16 17 18 A1 A2 A3 A4 B1 B2 B3 B4 41");
}

void ExpectDistinctFields(const BrenkFrameHeader& header) {
    EXPECT_EQ(header.totalLength, 0x11);
    EXPECT_EQ(header.magic1, 0x12);
    EXPECT_EQ(header.magic2, 0x13);
    EXPECT_EQ(header.remainingLength, 0x14);
    EXPECT_EQ(header.headerVersion, 0x15);
    EXPECT_EQ(header.reserved1, 0x16);
    EXPECT_EQ(header.reserved2, 0x17);
    EXPECT_EQ(header.referenceID, 0x18);
    EXPECT_EQ(header.sequenceCounter, 0xA1A2A3A4U);
    EXPECT_EQ(header.deviceAddress, 0xB1B2B3B4U);
    EXPECT_EQ(header.payloadType, 0x41);
}

TEST(BrenkFrameHeader, IsAllZerosWhenItIsNew) {
    Bytes frame;
    BrenkFrameHeader().AppendTo(frame);
    EXPECT_EQ(frame, Bytes(17, 0));
}

TEST(BrenkFrameHeader, ReadsEachFieldFromItsPlaceWithoutJudgingIt) {
    ExpectDistinctFields(BrenkFrameHeader::Read(DistinctBytes()));
}

TEST(BrenkFrameHeader, IgnoresWhatFollowsTheHeaderInTheFrame) {
    Bytes frame = DistinctBytes();
    frame.resize(255, 0xEE);
    ExpectDistinctFields(BrenkFrameHeader::Read(frame));
}

TEST(BrenkFrameHeader, ReadingAFrameThatIsShorterThanAHeaderIsOutOfRange) {
    for (std::size_t length = 0; length <= 16; ++length) {
        EXPECT_THROW(BrenkFrameHeader::Read(CutTo(DistinctBytes(), length)), std::out_of_range) << length;
    }
}

TEST(BrenkFrameHeader, AppendsItsFieldsInFrameOrderAndBigEndianBehindWhatIsThere) {
    BrenkFrameHeader header;
    header.totalLength = 0x11;
    header.magic1 = 0x12;
    header.magic2 = 0x13;
    header.remainingLength = 0x14;
    header.headerVersion = 0x15;
    header.reserved1 = 0x16;
    header.reserved2 = 0x17;
    header.referenceID = 0x18;
    header.sequenceCounter = 0xA1A2A3A4;
    header.deviceAddress = 0xB1B2B3B4;
    header.payloadType = 0x41;
    Bytes frame = {0xEE, 0xFF};
    header.AppendTo(frame);
    EXPECT_EQ(frame, FromHex("EE FF 11 12 13 14 15 16 17 18 A1 A2 A3 A4 B1 B2 B3 B4 41"));
}

}  // namespace
}  // namespace Brenk::Messages
