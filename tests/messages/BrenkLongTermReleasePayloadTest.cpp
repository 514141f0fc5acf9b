#include "messages/RequestPayloads.h"

#include <gtest/gtest.h>

#include "tests/messages/WireBytes.h"

// Expected bytes written by hand from the payload layout.

namespace Brenk::Messages {
namespace {

using Testing::FromHex;
using Testing::Serialized;

TEST(BrenkLongTermReleasePayload, Of300Is012C) {
    BrenkLongTermReleasePayload payload(300);
    EXPECT_EQ(payload.DataType(), 0x0C);
    EXPECT_EQ(Serialized(payload), FromHex("01 2C"));
    BrenkLongTermReleasePayload highest(0xFFFE);
    EXPECT_EQ(Serialized(highest), FromHex("FF FE"));
}

}  // namespace
}  // namespace Brenk::Messages
