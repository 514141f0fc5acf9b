#include <gtest/gtest.h>

#include <array>
#include <stdexcept>

#include "messages/BrenkCardReaderMessagePayload.h"
#include "messages/BrenkPincodeMessagePayload.h"
#include "tests/messages/WireBytes.h"

// Frames written by hand from the frame layout; their CRC by python3, binascii.crc_hqx(data, 0).

namespace Brenk::Messages {
namespace {

using Testing::Bytes;
using Testing::CutTo;
using Testing::FromHex;
using Testing::Serialized;
using Testing::WithByte;

constexpr std::size_t kDataLengthOffset = 24;
constexpr std::size_t kDataOffset = 25;

Bytes CardFrame() {
    return FromHex("1F FE FD 1A 01 00 00 05 00 00 01 00 00 00 01 02 0E 01 02 03 04 A5 B6 C7 04 04 A1 B2 C3 F4 CC");
}

Bytes PinFrame() {
    return FromHex("1F FE FD 1A 01 00 00 05 00 00 01 00 00 00 01 02 16 01 02 03 04 A5 B6 C7 04 01 02 03 04 35 3C");
}

void ExpectEventFields(const BrenkReaderEventPayload& payload) {
    EXPECT_EQ(payload.EventHeader(), (std::array<std::uint8_t, 4>{0x01, 0x02, 0x03, 0x04}));
    EXPECT_EQ(payload.EventBytes(), (std::array<std::uint8_t, 3>{0xA5, 0xB6, 0xC7}));
}

void ExpectNothing(const BrenkReaderEventPayload& payload) {
    EXPECT_EQ(payload.EventHeader(), (std::array<std::uint8_t, 4>{}));
    EXPECT_EQ(payload.EventBytes(), (std::array<std::uint8_t, 3>{}));
    EXPECT_TRUE(payload.Data().empty());
}

TEST(BrenkCardReaderMessagePayload, HoldsTheEventFieldsAndTheRfidData) {
    Bytes frame = CardFrame();
    BrenkCardReaderMessagePayload payload(frame);
    EXPECT_EQ(payload.DataType(), 0x32);
    ExpectEventFields(payload);
    EXPECT_EQ(payload.Data(), FromHex("04 A1 B2 C3"));
}

TEST(BrenkCardReaderMessagePayload, SerialisesToNoBytes) {
    Bytes frame = CardFrame();
    BrenkCardReaderMessagePayload payload(frame);
    EXPECT_EQ(Serialized(payload), Bytes());
}

TEST(BrenkCardReaderMessagePayload, WithDataLength0HasNoDataButItsEventFields) {
    Bytes frame = WithByte(CardFrame(), kDataLengthOffset, 0);
    BrenkCardReaderMessagePayload payload(frame);
    ExpectEventFields(payload);
    EXPECT_TRUE(payload.Data().empty());
}

TEST(BrenkCardReaderMessagePayload, WithDataLength0TheFrameMayEndWithTheLength) {
    Bytes frame = CutTo(WithByte(CardFrame(), kDataLengthOffset, 0), kDataOffset);
    BrenkCardReaderMessagePayload payload(frame);
    ExpectEventFields(payload);
    EXPECT_TRUE(payload.Data().empty());
}

TEST(BrenkCardReaderMessagePayload, TheDataLengthBoundsTheData) {
    Bytes frame = WithByte(CardFrame(), kDataLengthOffset, 2);
    EXPECT_EQ(BrenkCardReaderMessagePayload(frame).Data(), FromHex("04 A1"));
}

TEST(BrenkCardReaderMessagePayload, DataOf255BytesIsRead) {
    Bytes frame = CutTo(WithByte(CardFrame(), kDataLengthOffset, 255), kDataOffset);
    const Bytes data(255, 0xC3);
    frame.insert(frame.end(), data.begin(), data.end());
    EXPECT_EQ(BrenkCardReaderMessagePayload(frame).Data(), data);
}

TEST(BrenkCardReaderMessagePayload, WithADataLengthBeyondTheBytesPresentIsOutOfRange) {
    for (const unsigned char length : Bytes{7, 100, 255}) {
        Bytes frame = WithByte(CardFrame(), kDataLengthOffset, length);
        EXPECT_THROW(BrenkCardReaderMessagePayload{frame}, std::out_of_range) << int{length};
    }
}

TEST(BrenkCardReaderMessagePayload, AFrameThatEndsBeforeAFieldIsOutOfRange) {
    for (std::size_t length = 1; length < kDataOffset + 4; ++length) {
        Bytes frame = CutTo(CardFrame(), length);
        EXPECT_THROW(BrenkCardReaderMessagePayload{frame}, std::out_of_range) << length;
    }
    Bytes frame = CutTo(CardFrame(), kDataOffset + 4);
    EXPECT_NO_THROW(BrenkCardReaderMessagePayload{frame});
}

TEST(BrenkCardReaderMessagePayload, AnEmptyFrameAndTheDefaultConstructorGiveZerosAndNoData) {
    Bytes frame;
    ExpectNothing(BrenkCardReaderMessagePayload(frame));
    EXPECT_EQ(BrenkCardReaderMessagePayload(frame).DataType(), 0x32);
    ExpectNothing(BrenkCardReaderMessagePayload());
    EXPECT_EQ(BrenkCardReaderMessagePayload().DataType(), 0x32);
}

TEST(BrenkPincodeMessagePayload, HoldsTheEventFieldsAndThePin) {
    Bytes frame = PinFrame();
    BrenkPincodeMessagePayload payload(frame);
    EXPECT_EQ(payload.DataType(), 0x33);
    ExpectEventFields(payload);
    EXPECT_EQ(payload.Data(), FromHex("01 02 03 04"));
}

TEST(BrenkPincodeMessagePayload, SerialisesToTheBytesThatWereReceived) {
    Bytes frame = PinFrame();
    BrenkPincodeMessagePayload payload(frame);
    EXPECT_EQ(Serialized(payload), FromHex("01 02 03 04 A5 B6 C7 04 01 02 03 04"));
}

TEST(BrenkPincodeMessagePayload, WithDataLength0SerialisesWithoutData) {
    Bytes frame = WithByte(PinFrame(), kDataLengthOffset, 0);
    BrenkPincodeMessagePayload payload(frame);
    EXPECT_TRUE(payload.Data().empty());
    EXPECT_EQ(Serialized(payload), FromHex("01 02 03 04 A5 B6 C7 00"));
}

TEST(BrenkPincodeMessagePayload, WithADataLengthBeyondTheBytesPresentIsOutOfRange) {
    Bytes frame = WithByte(PinFrame(), kDataLengthOffset, 7);
    EXPECT_THROW(BrenkPincodeMessagePayload{frame}, std::out_of_range);
}

TEST(BrenkPincodeMessagePayload, AnEmptyFrameGivesZerosAndNoData) {
    Bytes frame;
    BrenkPincodeMessagePayload payload(frame);
    ExpectNothing(payload);
    EXPECT_EQ(payload.DataType(), 0x33);
    EXPECT_EQ(Serialized(payload), FromHex("00 00 00 00 00 00 00 00"));
}

}  // namespace
}  // namespace Brenk::Messages
