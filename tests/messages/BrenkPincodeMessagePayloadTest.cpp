#include "messages/EventPayloads.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/messages/ReaderEventFrames.h"

namespace Brenk::Messages {
namespace {

using Testing::Bytes;
using Testing::ExpectEventFields;
using Testing::ExpectNothing;
using Testing::FromHex;
using Testing::kDataLengthOffset;
using Testing::PinFrame;
using Testing::Serialized;
using Testing::WithByte;

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
