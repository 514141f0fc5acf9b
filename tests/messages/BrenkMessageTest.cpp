#include "messages/BrenkMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "messages/RequestPayloads.h"
#include "tests/messages/WireBytes.h"
#include "tests/support/CapturedLog.h"

// Frames written by hand from the frame layout; their CRC by python3, binascii.crc_hqx(data, 0).

namespace Brenk::Messages {
namespace {

using testing::AllOf;
using Testing::Bytes;
using Testing::CapturedLog;
using testing::ElementsAre;
using testing::EndsWith;
using Testing::FromHex;
using testing::Pair;
using Testing::Serialized;
using testing::StartsWith;

// Every field another value, so that none can stand in for another.
BrenkFrameHeader DistinctHeader() {
    BrenkFrameHeader header;
    header.totalLength = 0x11;
    header.magic1 = 0x12;
    header.magic2 = 0x13;
    header.remainingLength = 0x14;
    header.headerVersion = 0x15;
    header.reserved1 = 0x16;
    header.reserved2 = 0x17;
    header.referenceID = 0x18;
    header.sequenceCounter = 0x21222324;
    header.deviceAddress = 0x31323334;
    header.payloadType = 0x41;
    return header;
}

BrenkMessage ShortTermActivation() {
    BrenkMessage message(BrenkFrameHeader::Read(FromHex("14 FE FD 0F 01 00 00 05 00 00 00 2A 00 00 01 02 09")));
    message.AttachPayload(std::make_unique<BrenkShortTermActivationPayload>(std::uint8_t{7}));
    return message;
}

TEST(BrenkMessage, AccessorsGiveTheHeadersFields) {
    const BrenkMessage message(DistinctHeader());
    EXPECT_EQ(message.TotalLength(), 0x11);
    EXPECT_EQ(message.ReferenceID(), 0x18);
    EXPECT_EQ(message.SequenceCounter(), 0x21222324U);
    EXPECT_EQ(message.DeviceAddress(), 0x31323334U);
    EXPECT_EQ(message.PayloadType(), 0x41);
    EXPECT_EQ(message.Header().remainingLength, 0x14);
    EXPECT_EQ(message.Payload(), nullptr);
}

TEST(BrenkMessage, SerialisesTheFieldsInFrameOrderAndBigEndian) {
    BrenkMessage message(DistinctHeader());
    Bytes frame = Serialized(message);
    ASSERT_EQ(frame.size(), 19U);
    frame.resize(17);
    EXPECT_EQ(frame, FromHex("11 12 13 14 15 16 17 18 21 22 23 24 31 32 33 34 41"));
}

TEST(BrenkMessage, SerialisesThePayloadBetweenHeaderAndCRC) {
    BrenkMessage message = ShortTermActivation();
    EXPECT_EQ(Serialized(message), FromHex("14 FE FD 0F 01 00 00 05 00 00 00 2A 00 00 01 02 09 07 77 91"));
}

TEST(BrenkMessage, ComputeCRC16IsTheCRCOfTheFrameWithoutItsCRC) {
    EXPECT_EQ(ShortTermActivation().ComputeCRC16(), 0x7791);
}

TEST(BrenkMessage, BytesAsTextIsTheSerialisedFrameInHexadecimal) {
    EXPECT_EQ(ShortTermActivation().BytesAsText(), "14 FE FD 0F 01 00 00 05 00 00 00 2A 00 00 01 02 09 07 77 91");
}

TEST(BrenkMessage, DetachPayloadLeavesTheFrameWithoutPayload) {
    BrenkMessage message = ShortTermActivation();
    const BrenkMessagePayload* const payload = message.Payload();
    const std::unique_ptr<BrenkMessagePayload> detached = message.DetachPayload();
    EXPECT_EQ(detached.get(), payload);
    EXPECT_EQ(message.Payload(), nullptr);
    EXPECT_EQ(message.DetachPayload(), nullptr);
}

// Matches a line of the log with this severity and this text behind its signature.
auto Line(plog::Severity severity, const std::string& text) {
    return Pair(severity, EndsWith(") " + text));
}

auto LineOf(const std::string& function, const std::string& text) {
    return Pair(plog::verbose, AllOf(StartsWith(function), EndsWith(") " + text)));
}

TEST(BrenkMessage, SerializeLogsItsStepsAtVerboseAndTheCRCAtDebugInOrder) {
    BrenkMessage message = ShortTermActivation();
    const CapturedLog log;
    Serialized(message);
    const std::string function = "std::vector<unsigned char>* Brenk::Messages::BrenkMessage::Serialize()";
    EXPECT_THAT(log.Lines(),
                ElementsAre(LineOf(function, "[BrenkMessage::Serialize] Serializing message main frame parts."),
                            LineOf(function, "Compunting message CRC16. Current buffer size is18"),
                            Line(plog::debug, "CRC Vector size: 18"), Line(plog::debug, "CRC Value: 30609")));
}

TEST(BrenkMessage, ComputeCRC16LogsTheCRCAlone) {
    const BrenkMessage message = ShortTermActivation();
    const CapturedLog log;
    message.ComputeCRC16();
    EXPECT_THAT(log.Lines(),
                ElementsAre(Line(plog::debug, "CRC Vector size: 18"), Line(plog::debug, "CRC Value: 30609")));
}

TEST(BrenkMessage, BytesAsTextLogsWhatSerializeLogs) {
    BrenkMessage message = ShortTermActivation();
    const CapturedLog log;
    message.BytesAsText();
    EXPECT_EQ(log.Lines().size(), 4U) << log.Text();
}

TEST(ReadFrameLength, IsTheFirstByteWhenTheMagicFollows) {
    EXPECT_EQ(BrenkMessage::ReadFrameLength(FromHex("13 FE FD")), 0x13);
    EXPECT_EQ(BrenkMessage::ReadFrameLength(FromHex("FF FE FD 00")), 0xFF);
}

TEST(ReadFrameLength, IsZeroWhenAMagicByteIsAnother) {
    EXPECT_EQ(BrenkMessage::ReadFrameLength(FromHex("13 FE FE")), 0);
    EXPECT_EQ(BrenkMessage::ReadFrameLength(FromHex("13 FD FD")), 0);
    EXPECT_EQ(BrenkMessage::ReadFrameLength(FromHex("FE FD 13")), 0);
}

TEST(ReadFrameLength, IsOutOfRangeForFewerThanThreeBytes) {
    EXPECT_THROW(BrenkMessage::ReadFrameLength({}), std::out_of_range);
    EXPECT_THROW(BrenkMessage::ReadFrameLength(FromHex("13")), std::out_of_range);
    EXPECT_THROW(BrenkMessage::ReadFrameLength(FromHex("13 FE")), std::out_of_range);
    EXPECT_THROW(BrenkMessage::ReadFrameLength(FromHex("13 00")), std::out_of_range);
}

TEST(ReadPayloadType, IsByte16) {
    EXPECT_EQ(BrenkMessage::ReadPayloadType(FromHex("13 FE FD 0E 01 00 00 05 00 00 00 2A 00 00 01 02 8B")), 0x8B);
}

TEST(ReadPayloadType, IsZeroForAnEmptyVector) {
    EXPECT_EQ(BrenkMessage::ReadPayloadType({}), 0);
}

TEST(ReadPayloadType, IsOutOfRangeForOneTo16Bytes) {
    for (std::size_t length = 1; length <= 16; ++length) {
        EXPECT_THROW(BrenkMessage::ReadPayloadType(Bytes(length, 0xFF)), std::out_of_range) << length;
    }
}

}  // namespace
}  // namespace Brenk::Messages
