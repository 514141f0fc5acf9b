#include "messages/BrenkMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>

#include "messages/RequestPayloads.h"
#include "tests/messages/WireBytes.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/LoggedLine.h"

// Frames written by hand from the frame layout; their CRC by python3, binascii.crc_hqx(data, 0).

namespace Brenk::Messages {
namespace {

using Testing::Bytes;
using Testing::CapturedLog;
using Testing::CutTo;
using testing::ElementsAre;
using Testing::FromHex;
using Testing::Logged;
using Testing::Serialized;

// Every field another value, so that none can stand in for another.
Bytes DistinctBytes() {
    return FromHex("11 12 13 14 15 16 17 18 A1 A2 A3 A4 B1 B2 B3 B4 41");
}

TEST(BrenkFrameHeader, ReadsEachFieldFromItsPlaceWithoutJudgingIt) {
    Bytes frame = DistinctBytes();
    frame.resize(255, 0xEE);
    const BrenkFrameHeader header = BrenkFrameHeader::Read(frame);
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

TEST(BrenkFrameHeader, AppendsItsFieldsInFrameOrderBehindWhatIsThere) {
    Bytes frame = {0xEE, 0xFF};
    BrenkFrameHeader::Read(DistinctBytes()).AppendTo(frame);
    EXPECT_EQ(frame, FromHex("EE FF 11 12 13 14 15 16 17 18 A1 A2 A3 A4 B1 B2 B3 B4 41"));
}

BrenkMessage ShortTermActivation() {
    BrenkMessage message(BrenkFrameHeader::Read(FromHex("14 FE FD 0F 01 00 00 05 00 00 00 2A 00 00 01 02 09")));
    message.AttachPayload(std::make_unique<BrenkShortTermActivationPayload>(std::uint8_t{7}));
    return message;
}

TEST(BrenkMessage, SerialisesThePayloadBetweenHeaderAndCRC) {
    BrenkMessage message = ShortTermActivation();
    const std::string frame = "14 FE FD 0F 01 00 00 05 00 00 00 2A 00 00 01 02 09 07 77 91";
    EXPECT_EQ(Serialized(message), FromHex(frame));
    EXPECT_EQ(message.BytesAsText(), frame);
    EXPECT_EQ(message.ComputeCRC16(), 0x7791);
}

TEST(BrenkMessage, SerialisesItsHeaderAloneWhenItHasNoPayload) {
    BrenkMessage message(BrenkFrameHeader::Read(DistinctBytes()));
    EXPECT_EQ(message.Payload(), nullptr);
    EXPECT_EQ(CutTo(Serialized(message), 17), DistinctBytes());
    EXPECT_EQ(Serialized(message).size(), 19U);
}

TEST(BrenkMessage, DetachPayloadLeavesTheFrameWithoutPayload) {
    BrenkMessage message = ShortTermActivation();
    const BrenkMessagePayload* const payload = message.Payload();
    const std::unique_ptr<BrenkMessagePayload> detached = message.DetachPayload();
    EXPECT_EQ(detached.get(), payload);
    EXPECT_EQ(message.Payload(), nullptr);
    EXPECT_EQ(message.DetachPayload(), nullptr);
}

TEST(BrenkMessage, SerializeLogsItsStepsAndTheCRCInOrder) {
    BrenkMessage message = ShortTermActivation();
    const CapturedLog log;
    Serialized(message);
    const std::string function = "std::vector<unsigned char>* Brenk::Messages::BrenkMessage::Serialize() ";
    EXPECT_THAT(
        log.Lines(),
        ElementsAre(
            testing::Pair(plog::verbose, function + "[BrenkMessage::Serialize] Serializing message main frame parts."),
            testing::Pair(plog::verbose, function + "Compunting message CRC16. Current buffer size is18"),
            Logged(plog::debug, "CRC Vector size: 18"), Logged(plog::debug, "CRC Value: 30609")));
    message.BytesAsText();
    EXPECT_EQ(log.Lines().size(), 8U) << log.Text();
}

TEST(BrenkMessage, ComputeCRC16LogsTheCRCAlone) {
    const BrenkMessage message = ShortTermActivation();
    const CapturedLog log;
    message.ComputeCRC16();
    EXPECT_THAT(log.Lines(),
                ElementsAre(Logged(plog::debug, "CRC Vector size: 18"), Logged(plog::debug, "CRC Value: 30609")));
}

TEST(ReadFrameLength, IsTheFirstByteWhenTheMagicFollowsAndElseZero) {
    EXPECT_EQ(BrenkMessage::ReadFrameLength(FromHex("13 FE FD")), 0x13);
    EXPECT_EQ(BrenkMessage::ReadFrameLength(FromHex("FF FE FD 00")), 0xFF);
    for (const char* const frame : {"13 FE FE", "13 FD FD", "FE FD 13"}) {
        EXPECT_EQ(BrenkMessage::ReadFrameLength(FromHex(frame)), 0) << frame;
    }
}

TEST(ReadFrameLength, IsOutOfRangeForFewerThanThreeBytes) {
    for (const char* const frame : {"", "13", "13 FE", "13 00"}) {
        EXPECT_THROW(BrenkMessage::ReadFrameLength(FromHex(frame)), std::out_of_range) << frame;
    }
}

TEST(ReadPayloadType, IsByte16AndZeroForAnEmptyVector) {
    EXPECT_EQ(BrenkMessage::ReadPayloadType(DistinctBytes()), 0x41);
    EXPECT_EQ(BrenkMessage::ReadPayloadType({}), 0);
    for (std::size_t length = 1; length <= 16; ++length) {
        EXPECT_THROW(BrenkMessage::ReadPayloadType(Bytes(length, 0xFF)), std::out_of_range) << length;
    }
}

}  // namespace
}  // namespace Brenk::Messages
