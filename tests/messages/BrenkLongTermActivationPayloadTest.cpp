#include "messages/RequestPayloads.h"

#include <gtest/gtest.h>

#include "tests/messages/WireBytes.h"

// Expected bytes written by hand from the payload layout.

namespace Brenk::Messages {
namespace {

using Testing::FromHex;
using Testing::Serialized;

TEST(BrenkLongTermActivationPayload, Of0And5Is00000005) {
    BrenkLongTermActivationPayload payload(0, 5);
    EXPECT_EQ(payload.DataType(), 0x0B);
    EXPECT_EQ(Serialized(payload), FromHex("00 00 00 05"));
}

TEST(BrenkLongTermActivationPayload, HasTheFirstValueFirstAndBothBigEndian) {
    BrenkLongTermActivationPayload payload(0x1234, 0xABCD);
    EXPECT_EQ(Serialized(payload), FromHex("12 34 AB CD"));
}

}  // namespace
}  // namespace Brenk::Messages
