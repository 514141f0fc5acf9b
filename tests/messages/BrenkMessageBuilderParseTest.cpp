#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <typeinfo>
#include <utility>

#include "messages/AnswerPayloads.h"
#include "messages/BrenkMessageBuilder.h"
#include "messages/EventPayloads.h"
#include "tests/messages/ReceivedFrames.h"
#include "tests/messages/WireBytes.h"
#include "tests/support/CapturedLog.h"

namespace Brenk::Messages {
namespace {

using Testing::Bytes;
using Testing::CapturedLog;
using Testing::CutTo;
using Testing::FromHex;
using Testing::kCardFrame;
using Testing::kCounterErrorFrame;
using Testing::kPinFrame;
using Testing::kResponseFrame;
using Testing::kStatusFrame;
using Testing::Serialized;
using Testing::WithByte;

constexpr std::size_t kPayloadTypeOffset = 16;
constexpr const char* kType2Frame = "13 FE FD 0E 01 00 00 05 00 00 01 00 00 00 01 02 02 0E BE";

std::unique_ptr<BrenkMessage> Parsed(Bytes frame) {
    return std::unique_ptr<BrenkMessage>(BrenkMessageBuilder(0, 1).Parse(frame));
}

// Parses a frame of this type with enough bytes for any payload.
std::unique_ptr<BrenkMessage> ParsedOfType(int type) {
    return Parsed(WithByte(FromHex(kCardFrame), kPayloadTypeOffset, static_cast<unsigned char>(type)));
}

TEST(Parse, ReadsThePayloadsOfAnswersAndEventsAndNoOthers) {
    const auto expected = [](int type) -> const std::type_info* {
        switch (type) {
            case 0x00:
                return &typeid(BrenkResponsePayload);
            case 0x01:
                return &typeid(BrenkGetStatusPayload);
            case 0x0E:
            case 0x0F:
                return &typeid(BrenkCardReaderMessagePayload);
            case 0x16:
                return &typeid(BrenkPincodeMessagePayload);
            default:
                return nullptr;
        }
    };
    for (int type = 0; type <= 255; ++type) {
        const auto message = ParsedOfType(type);
        EXPECT_EQ(message->PayloadType(), type);
        ASSERT_EQ(message->Payload() != nullptr, expected(type) != nullptr) << type;
        if (message->Payload() != nullptr) {
            const BrenkMessagePayload& payload = *message->Payload();
            EXPECT_STREQ(typeid(payload).name(), expected(type)->name());
        }
    }
}

// The CRC in the log of a received status or card event is that of the header alone.
TEST(Parse, GivesMessagesThatSerialiseToWhatWasReceivedButForStatusAndCard) {
    for (const char* const frame : {kResponseFrame, kCounterErrorFrame, kPinFrame, kType2Frame}) {
        EXPECT_EQ(Serialized(*Parsed(FromHex(frame))), FromHex(frame));
    }
    EXPECT_EQ(Serialized(*Parsed(FromHex(kStatusFrame))),
              FromHex("1A FE FD 15 01 00 00 05 00 00 01 00 00 00 01 02 01 09 10"));
    EXPECT_EQ(Serialized(*Parsed(FromHex(kCardFrame))),
              FromHex("1F FE FD 1A 01 00 00 05 00 00 01 00 00 00 01 02 0E 30 F8"));
}

TEST(Parse, ChecksNeitherMagicNorLengthsNorCRC) {
    const auto message = Parsed(FromHex("FF 00 00 00 01 00 00 05 00 00 01 00 00 00 01 02 00 03"));
    EXPECT_EQ(dynamic_cast<const BrenkResponsePayload&>(*message->Payload()).ResponseCode(), 3);
}

// LeakSanitizer checks that nothing is leaked.
TEST(Parse, AFrameThatEndsInsideItsHeaderOrItsPayloadIsOutOfRange) {
    for (std::size_t length = 0; length <= 16; ++length) {
        EXPECT_THROW(Parsed(CutTo(FromHex(kType2Frame), length)), std::out_of_range) << length;
    }
    EXPECT_NO_THROW(Parsed(CutTo(FromHex(kType2Frame), 17)));
    EXPECT_THROW(Parsed(CutTo(FromHex(kResponseFrame), 17)), std::out_of_range);
    EXPECT_THROW(Parsed(CutTo(FromHex(kCounterErrorFrame), 21)), std::out_of_range);
    EXPECT_THROW(Parsed(CutTo(FromHex(kStatusFrame), 23)), std::out_of_range);
    EXPECT_THROW(Parsed(CutTo(FromHex(kCardFrame), 28)), std::out_of_range);
    EXPECT_THROW(Parsed(CutTo(FromHex(kPinFrame), 28)), std::out_of_range);
}

// A response's data type is 0, at which the log ends the line.
TEST(Parse, LogsEachPayloadsDataTypeAsOneCharacter) {
    const std::pair<int, const char*> expected[] = {{0x00, ""}, {0x01, "\x02"}, {0x0E, "2"}, {0x0F, "2"}, {0x16, "3"}};
    for (const auto& [type, character] : expected) {
        const CapturedLog log;
        ParsedOfType(type);
        ASSERT_EQ(log.Lines().size(), 1U) << log.Text();
        EXPECT_TRUE(log.Holds(plog::verbose,
                              std::string(") Attached payload data to message. Payload data type: ") + character));
    }
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
