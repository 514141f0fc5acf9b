#include "messages/EventPayloads.h"

#include <gtest/gtest.h>

#include "tests/messages/ReaderEventFrames.h"

namespace Brenk::Messages {
namespace {

using Testing::Bytes;
using Testing::CardFrame;
using Testing::ExpectEventFields;
using Testing::ExpectNothing;
using Testing::FromHex;
using Testing::Serialized;

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

}  // namespace
}  // namespace Brenk::Messages
