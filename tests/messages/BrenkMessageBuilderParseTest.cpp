#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "messages/AnswerPayloads.h"
#include "messages/BrenkMessageBuilder.h"
#include "messages/EventPayloads.h"
#include "tests/messages/WireBytes.h"
#include "tests/support/CapturedLog.h"

// Frames written by hand from the frame and payload layouts; their CRC by python3, binascii.crc_hqx(data, 0).

namespace Brenk::Messages {
namespace {

using Testing::Bytes;
using Testing::CapturedLog;
using Testing::CutTo;
using Testing::FromHex;
using Testing::Serialized;
using Testing::WithByte;

constexpr std::size_t kPayloadTypeOffset = 16;

constexpr const char* kAttached = "Attached payload data to message. Payload data type: ";

constexpr const char* kResponseFrame = "14 FE FD 0F 01 00 00 05 00 00 01 00 00 00 01 02 00 03 57 E6";
constexpr const char* kCounterErrorFrame = "18 FE FD 13 01 00 00 05 00 00 01 00 00 00 01 02 00 07 00 00 01 00 9D 2E";
constexpr const char* kStatusFrame = "1A FE FD 15 01 00 00 05 00 00 01 00 00 00 01 02 01 0E 00 1C 00 00 00 00 8C B1";
constexpr const char* kCardReaderFrame =
    "1F FE FD 1A 01 00 00 05 00 00 01 00 00 00 01 02 0E 01 02 03 04 A5 B6 C7 04 04 A1 B2 C3 F4 CC";
constexpr const char* kCardAccessFrame =
    "1F FE FD 1A 01 00 00 05 00 00 01 00 00 00 01 02 0F 01 02 03 04 A5 B6 C7 04 04 A1 B2 C3 B1 AF";
constexpr const char* kPincodeFrame =
    "1F FE FD 1A 01 00 00 05 00 00 01 00 00 00 01 02 16 01 02 03 04 A5 B6 C7 04 01 02 03 04 35 3C";
constexpr const char* kType2Frame = "13 FE FD 0E 01 00 00 05 00 00 01 00 00 00 01 02 02 0E BE";

std::unique_ptr<BrenkMessage> Parsed(Bytes frame) {
    return std::unique_ptr<BrenkMessage>(BrenkMessageBuilder(0, 1).Parse(frame));
}

template <typename Payload>
const Payload& PayloadOf(const BrenkMessage& message) {
    return dynamic_cast<const Payload&>(*message.Payload());
}

TEST(Parse, ReadsEveryHeaderFieldAsItStands) {
    const auto message = Parsed(FromHex("11 12 13 14 15 16 17 D8 21 22 23 24 F1 F2 F3 F4 41"));
    EXPECT_EQ(message->TotalLength(), 0x11);
    EXPECT_EQ(message->Header().magic1, 0x12);
    EXPECT_EQ(message->Header().magic2, 0x13);
    EXPECT_EQ(message->Header().remainingLength, 0x14);
    EXPECT_EQ(message->Header().headerVersion, 0x15);
    EXPECT_EQ(message->Header().reserved1, 0x16);
    EXPECT_EQ(message->Header().reserved2, 0x17);
    EXPECT_EQ(message->ReferenceID(), 0xD8);
    EXPECT_EQ(message->SequenceCounter(), 0x21222324U);
    EXPECT_EQ(message->DeviceAddress(), 0xF1F2F3F4U);
    EXPECT_EQ(message->PayloadType(), 0x41);
}

TEST(Parse, Type0IsAResponse) {
    const auto message = Parsed(FromHex(kResponseFrame));
    EXPECT_EQ(message->PayloadType(), 0x00);
    EXPECT_EQ(PayloadOf<BrenkResponsePayload>(*message).ResponseCode(), 3);
}

TEST(Parse, Type0WithCode7AnnouncesTheGatewaysSequenceCounter) {
    const auto message = Parsed(FromHex(kCounterErrorFrame));
    EXPECT_EQ(PayloadOf<BrenkResponsePayload>(*message).ResponseCode(), 7);
    EXPECT_EQ(PayloadOf<BrenkResponsePayload>(*message).CurrentSequenceCounter(), 256U);
}

TEST(Parse, Type1IsALocksStatus) {
    const auto message = Parsed(FromHex(kStatusFrame));
    EXPECT_EQ(PayloadOf<BrenkGetStatusPayload>(*message).StatusData(),
              (BrenkGetStatusPayload::StatusBytes{0x0E, 0x00, 0x1C, 0x00, 0x00, 0x00, 0x00}));
}

TEST(Parse, Types0EAnd0FAreCardReaderEvents) {
    for (const char* const frame : {kCardReaderFrame, kCardAccessFrame}) {
        const auto message = Parsed(FromHex(frame));
        EXPECT_EQ(PayloadOf<BrenkCardReaderMessagePayload>(*message).Data(), FromHex("04 A1 B2 C3"));
    }
}

TEST(Parse, Type16IsAPincodeEvent) {
    const auto message = Parsed(FromHex(kPincodeFrame));
    EXPECT_EQ(PayloadOf<BrenkPincodeMessagePayload>(*message).Data(), FromHex("01 02 03 04"));
}

TEST(Parse, AFrameWithType02HasNoPayload) {
    const auto message = Parsed(FromHex(kType2Frame));
    ASSERT_NE(message, nullptr);
    EXPECT_EQ(message->PayloadType(), 0x02);
    EXPECT_EQ(message->Payload(), nullptr);
}

TEST(Parse, EveryTypeThatIsNoAnswerAndNoEventGivesAMessageWithoutPayload) {
    const std::vector<int> withPayload = {0x00, 0x01, 0x0E, 0x0F, 0x16};
    for (int type = 0; type <= 255; ++type) {
        const auto message =
            Parsed(WithByte(FromHex(kCardReaderFrame), kPayloadTypeOffset, static_cast<unsigned char>(type)));
        const bool expected = std::find(withPayload.begin(), withPayload.end(), type) != withPayload.end();
        EXPECT_EQ(message->Payload() != nullptr, expected) << type;
    }
}

TEST(Parse, FramesWhosePayloadIsWrittenBackSerialiseToTheSameBytes) {
    for (const char* const frame : {kResponseFrame, kCounterErrorFrame, kPincodeFrame, kType2Frame}) {
        const auto message = Parsed(FromHex(frame));
        EXPECT_EQ(Serialized(*message), FromHex(frame));
    }
}

TEST(Parse, ComputesTheReceivedCRCAgainForAPincodeEvent) {
    EXPECT_EQ(Parsed(FromHex(kPincodeFrame))->ComputeCRC16(), 0x353C);
}

TEST(Parse, ChecksNeitherMagicNorLengthsNorCRC) {
    Bytes frame = FromHex(kResponseFrame);
    frame.at(0) = 0xFF;
    frame.at(1) = 0x00;
    frame.at(2) = 0x00;
    frame.at(3) = 0x00;
    frame.pop_back();
    frame.pop_back();
    EXPECT_EQ(PayloadOf<BrenkResponsePayload>(*Parsed(frame)).ResponseCode(), 3);
}

// That nothing is leaked on the way out is LeakSanitizer's to say.
TEST(Parse, ATenByteVectorIsOutOfRange) {
    EXPECT_THROW(Parsed(CutTo(FromHex(kResponseFrame), 10)), std::out_of_range);
}

TEST(Parse, AFrameThatEndsInsideItsHeaderIsOutOfRange) {
    for (std::size_t length = 0; length <= 16; ++length) {
        EXPECT_THROW(Parsed(CutTo(FromHex(kType2Frame), length)), std::out_of_range) << length;
    }
    EXPECT_NO_THROW(Parsed(CutTo(FromHex(kType2Frame), 17)));
}

TEST(Parse, AFrameThatEndsInsideItsPayloadIsOutOfRange) {
    EXPECT_THROW(Parsed(CutTo(FromHex(kResponseFrame), 17)), std::out_of_range);
    EXPECT_THROW(Parsed(CutTo(FromHex(kCounterErrorFrame), 21)), std::out_of_range);
    EXPECT_THROW(Parsed(CutTo(FromHex(kStatusFrame), 23)), std::out_of_range);
    EXPECT_THROW(Parsed(CutTo(FromHex(kCardReaderFrame), 28)), std::out_of_range);
    EXPECT_THROW(Parsed(CutTo(FromHex(kPincodeFrame), 28)), std::out_of_range);
}

TEST(Parse, ThePayloadsDataTypeIsLoggedAtVerboseAsOneCharacter) {
    const CapturedLog log;
    Parsed(FromHex(kCardReaderFrame));
    EXPECT_EQ(log.Count(plog::verbose, kAttached + std::string("2")), 1) << log.Text();
    Parsed(FromHex(kPincodeFrame));
    EXPECT_EQ(log.Count(plog::verbose, kAttached + std::string("3")), 1) << log.Text();
    Parsed(FromHex(kStatusFrame));
    EXPECT_EQ(log.Count(plog::verbose, kAttached + std::string("\x02")), 1) << log.Text();
}

// A response's data type is 0, at which the log ends the line.
TEST(Parse, EveryPayloadHasOneLineAtVerbose) {
    for (const char* const frame :
         {kResponseFrame, kCounterErrorFrame, kStatusFrame, kCardReaderFrame, kCardAccessFrame, kPincodeFrame}) {
        const CapturedLog log;
        Parsed(FromHex(frame));
        ASSERT_EQ(log.Lines().size(), 1U) << log.Text();
        EXPECT_TRUE(log.Holds(plog::verbose, std::string(") ") + kAttached)) << log.Text();
    }
}

TEST(Parse, ThePayloadsClassIsThatOfTheType) {
    for (const char* const frame : {kResponseFrame, kCounterErrorFrame}) {
        EXPECT_EQ(Parsed(FromHex(frame))->Payload()->DataType(), 0x00);
    }
    EXPECT_EQ(Parsed(FromHex(kStatusFrame))->Payload()->DataType(), 0x02);
    EXPECT_EQ(Parsed(FromHex(kCardReaderFrame))->Payload()->DataType(), 0x32);
    EXPECT_EQ(Parsed(FromHex(kCardAccessFrame))->Payload()->DataType(), 0x32);
    EXPECT_EQ(Parsed(FromHex(kPincodeFrame))->Payload()->DataType(), 0x33);
}

// What the gateway's log line of a received status or card event shows is the CRC of the header alone.
TEST(Parse, StatusAndCardEventsSerialiseToTheirHeader) {
    EXPECT_EQ(Serialized(*Parsed(FromHex(kStatusFrame))),
              FromHex("1A FE FD 15 01 00 00 05 00 00 01 00 00 00 01 02 01 09 10"));
    EXPECT_EQ(Serialized(*Parsed(FromHex(kCardReaderFrame))),
              FromHex("1F FE FD 1A 01 00 00 05 00 00 01 00 00 00 01 02 0E 30 F8"));
}

TEST(Parse, NoPayloadNoLine) {
    const CapturedLog log;
    Parsed(FromHex(kType2Frame));
    EXPECT_TRUE(log.Lines().empty()) << log.Text();
}

TEST(Parse, LeavesTheBuildersCountersAndTheFrameAsTheyAre) {
    BrenkMessageBuilder builder(41, 5);
    Bytes frame = FromHex(kCounterErrorFrame);
    const std::unique_ptr<BrenkMessage> message(builder.Parse(frame));
    EXPECT_EQ(builder.SequenceCounter(), 41U);
    EXPECT_EQ(builder.ReferenceID(), 5);
    EXPECT_EQ(frame, FromHex(kCounterErrorFrame));
}

}  // namespace
}  // namespace Brenk::Messages
