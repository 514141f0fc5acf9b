// The payloads that gateways send: answers and events.

#include <gtest/gtest.h>

#include <array>
#include <stdexcept>

#include "messages/AnswerPayloads.h"
#include "messages/Codes.h"
#include "messages/EventPayloads.h"
#include "tests/messages/ReceivedFrames.h"
#include "tests/messages/WireBytes.h"

namespace Brenk::Messages {
namespace {

using Testing::Bytes;
using Testing::CutTo;
using Testing::FromHex;
using Testing::kCardFrame;
using Testing::kCounterErrorFrame;
using Testing::kPinFrame;
using Testing::kResponseFrame;
using Testing::kStatusFrame;
using Testing::Serialized;
using Testing::WithByte;

constexpr std::size_t kResponseCodeOffset = 17;
constexpr std::size_t kDataLengthOffset = 24;
constexpr std::size_t kDataOffset = 25;

// Expects that the payload is readable from `needed` bytes on, and out of range with fewer.
template <typename Payload>
void ExpectOutOfRangeUnder(std::size_t needed, const Bytes& frame, std::size_t shortest = 1) {
    for (std::size_t length = shortest; length < needed; ++length) {
        Bytes cut = CutTo(frame, length);
        EXPECT_THROW(Payload{cut}, std::out_of_range) << length;
    }
    Bytes whole = CutTo(frame, needed);
    EXPECT_NO_THROW(Payload{whole});
}

TEST(BrenkResponsePayload, OfCode7CarriesTheGatewaysSequenceCounter) {
    Bytes frame = FromHex(kCounterErrorFrame);
    BrenkResponsePayload payload(frame);
    EXPECT_EQ(payload.DataType(), 0);
    EXPECT_EQ(payload.ResponseCode(), BRENK_RESPONSE_SEQUENCE_COUNTER_ERROR);
    EXPECT_EQ(payload.CurrentSequenceCounter(), 0xFEDCBA98U);
    EXPECT_EQ(Serialized(payload), FromHex("07 FE DC BA 98"));
}

TEST(BrenkResponsePayload, OfEveryOtherCodeIsReadWithoutACounterEvenIfBytesFollow) {
    for (int code = 0; code <= 255; ++code) {
        if (code == BRENK_RESPONSE_SEQUENCE_COUNTER_ERROR) {
            continue;
        }
        const auto byte = static_cast<unsigned char>(code);
        Bytes frame = WithByte(FromHex(kCounterErrorFrame), kResponseCodeOffset, byte);
        BrenkResponsePayload payload(frame);
        EXPECT_EQ(payload.ResponseCode(), code);
        EXPECT_EQ(payload.CurrentSequenceCounter(), 0U);
        EXPECT_EQ(Serialized(payload), Bytes{byte});
    }
}

TEST(BrenkResponsePayload, AFrameThatEndsBeforeItIsOutOfRange) {
    ExpectOutOfRangeUnder<BrenkResponsePayload>(18, FromHex(kResponseFrame), 0);
    ExpectOutOfRangeUnder<BrenkResponsePayload>(22, FromHex(kCounterErrorFrame), 0);
}

constexpr BrenkGetStatusPayload::StatusBytes kNoStatus = {};

TEST(BrenkGetStatusPayload, OfARequestHasNeitherBytesNorStatus) {
    BrenkGetStatusPayload payload;
    EXPECT_EQ(payload.DataType(), 2);
    EXPECT_EQ(Serialized(payload), Bytes());
    EXPECT_EQ(payload.StatusData(), kNoStatus);
}

TEST(BrenkGetStatusPayload, OfAnAnswerHoldsSevenBytesThatAreNeverSent) {
    Bytes frame = FromHex(kStatusFrame);
    BrenkGetStatusPayload payload(frame);
    EXPECT_EQ(payload.DataType(), 2);
    EXPECT_EQ(payload.StatusData(), (BrenkGetStatusPayload::StatusBytes{0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0xA7}));
    EXPECT_EQ(Serialized(payload), Bytes());
    ExpectOutOfRangeUnder<BrenkGetStatusPayload>(24, frame);
}

TEST(BrenkGetStatusPayload, OfAnEmptyFrameHasNoStatus) {
    Bytes frame;
    EXPECT_EQ(BrenkGetStatusPayload(frame).StatusData(), kNoStatus);
    EXPECT_EQ(BrenkGetStatusPayload(frame).DataType(), 2);
}

// Checks an event; its event fields are those of the two frames, or zeros unless `isRead`.
void ExpectEvent(const BrenkReaderEventPayload& payload, std::uint8_t dataType, const std::string& data,
                 bool isRead = true) {
    const std::array<std::uint8_t, 4> header = {0x01, 0x02, 0x03, 0x04};
    const std::array<std::uint8_t, 3> bytes = {0xA5, 0xB6, 0xC7};
    EXPECT_EQ(payload.DataType(), dataType);
    EXPECT_EQ(payload.EventHeader(), isRead ? header : decltype(header){});
    EXPECT_EQ(payload.EventBytes(), isRead ? bytes : decltype(bytes){});
    EXPECT_EQ(payload.Data(), FromHex(data));
}

TEST(BrenkCardReaderMessagePayload, HoldsTheEventFieldsAndTheCardAndIsNeverSent) {
    Bytes frame = FromHex(kCardFrame);
    BrenkCardReaderMessagePayload payload(frame);
    ExpectEvent(payload, 0x32, "04 A1 B2 C3");
    EXPECT_EQ(Serialized(payload), Bytes());
    ExpectOutOfRangeUnder<BrenkCardReaderMessagePayload>(kDataOffset + 4, frame);
}

TEST(BrenkCardReaderMessagePayload, HasAsMuchDataAsItsLengthSays) {
    Bytes empty = CutTo(WithByte(FromHex(kCardFrame), kDataLengthOffset, 0), kDataOffset);
    ExpectEvent(BrenkCardReaderMessagePayload(empty), 0x32, "");
    Bytes two = WithByte(FromHex(kCardFrame), kDataLengthOffset, 2);
    ExpectEvent(BrenkCardReaderMessagePayload(two), 0x32, "04 A1");
    Bytes longest = CutTo(WithByte(FromHex(kCardFrame), kDataLengthOffset, 255), kDataOffset);
    const Bytes data(255, 0xC3);
    longest.insert(longest.end(), data.begin(), data.end());
    EXPECT_EQ(BrenkCardReaderMessagePayload(longest).Data(), data);
}

TEST(BrenkReaderEventPayload, ADataLengthBeyondTheBytesPresentIsOutOfRange) {
    for (const unsigned char length : Bytes{7, 100, 255}) {
        Bytes card = WithByte(FromHex(kCardFrame), kDataLengthOffset, length);
        EXPECT_THROW(BrenkCardReaderMessagePayload{card}, std::out_of_range) << int{length};
        Bytes pin = WithByte(FromHex(kPinFrame), kDataLengthOffset, length);
        EXPECT_THROW(BrenkPincodeMessagePayload{pin}, std::out_of_range) << int{length};
    }
}

TEST(BrenkReaderEventPayload, OfAnEmptyFrameIsZerosWithoutData) {
    Bytes frame;
    ExpectEvent(BrenkCardReaderMessagePayload(frame), 0x32, "", false);
    ExpectEvent(BrenkCardReaderMessagePayload(), 0x32, "", false);
    BrenkPincodeMessagePayload pin(frame);
    ExpectEvent(pin, 0x33, "", false);
    EXPECT_EQ(Serialized(pin), FromHex("00 00 00 00 00 00 00 00"));
}

TEST(BrenkPincodeMessagePayload, HoldsTheEventFieldsAndThePinAndSerialisesToWhatWasReceived) {
    Bytes frame = FromHex(kPinFrame);
    BrenkPincodeMessagePayload payload(frame);
    ExpectEvent(payload, 0x33, "01 02 03 04");
    EXPECT_EQ(Serialized(payload), FromHex("01 02 03 04 A5 B6 C7 04 01 02 03 04"));
}

}  // namespace
}  // namespace Brenk::Messages
