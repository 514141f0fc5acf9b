#include "messages/EventPayloads.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/messages/ReaderEventFrames.h"

namespace Brenk::Messages {
namespace {

using Testing::Bytes;
using Testing::CardFrame;
using Testing::CutTo;
using Testing::ExpectEventFields;
using Testing::ExpectNothing;
using Testing::FromHex;
using Testing::kDataLengthOffset;
using Testing::kDataOffset;
using Testing::PinFrame;
using Testing::Serialized;
using Testing::WithByte;

// The base is never built alone; a card event adds nothing to it.
using Event = BrenkCardReaderMessagePayload;

TEST(BrenkReaderEventPayload, WithDataLength0HasNoDataButItsEventFields) {
    Bytes frame = WithByte(CardFrame(), kDataLengthOffset, 0);
    Event payload(frame);
    ExpectEventFields(payload);
    EXPECT_TRUE(payload.Data().empty());
}

TEST(BrenkReaderEventPayload, WithDataLength0TheFrameMayEndWithTheLength) {
    Bytes frame = CutTo(WithByte(CardFrame(), kDataLengthOffset, 0), kDataOffset);
    Event payload(frame);
    ExpectEventFields(payload);
    EXPECT_TRUE(payload.Data().empty());
}

TEST(BrenkReaderEventPayload, TheDataLengthBoundsTheData) {
    Bytes frame = WithByte(CardFrame(), kDataLengthOffset, 2);
    EXPECT_EQ(Event(frame).Data(), FromHex("04 A1"));
}

TEST(BrenkReaderEventPayload, DataOf255BytesIsRead) {
    Bytes frame = CutTo(WithByte(CardFrame(), kDataLengthOffset, 255), kDataOffset);
    const Bytes data(255, 0xC3);
    frame.insert(frame.end(), data.begin(), data.end());
    EXPECT_EQ(Event(frame).Data(), data);
}

TEST(BrenkReaderEventPayload, WithADataLengthBeyondTheBytesPresentIsOutOfRange) {
    for (const unsigned char length : Bytes{7, 100, 255}) {
        Bytes frame = WithByte(CardFrame(), kDataLengthOffset, length);
        EXPECT_THROW(Event{frame}, std::out_of_range) << int{length};
    }
}

TEST(BrenkReaderEventPayload, AFrameThatEndsBeforeAFieldIsOutOfRange) {
    for (std::size_t length = 1; length < kDataOffset + 4; ++length) {
        Bytes frame = CutTo(CardFrame(), length);
        EXPECT_THROW(Event{frame}, std::out_of_range) << length;
    }
    Bytes frame = CutTo(CardFrame(), kDataOffset + 4);
    EXPECT_NO_THROW(Event{frame});
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
