#include "messages/RequestPayloads.h"

#include <gtest/gtest.h>

#include "tests/messages/WireBytes.h"

// Expected bytes written by hand from the payload layout.

namespace Brenk::Messages {
namespace {

using Testing::FromHex;
using Testing::Serialized;

TEST(BrenkShortTermActivationPayload, IsItsValue) {
    BrenkShortTermActivationPayload payload(0xC8);
    EXPECT_EQ(payload.DataType(), 0x0A);
    EXPECT_EQ(Serialized(payload), FromHex("C8"));
}

TEST(BrenkShortTermActivationPayload, TakesTheLowestAndTheHighestValue) {
    BrenkShortTermActivationPayload lowest(0);
    EXPECT_EQ(Serialized(lowest), FromHex("00"));
    BrenkShortTermActivationPayload highest(255);
    EXPECT_EQ(Serialized(highest), FromHex("FF"));
}

}  // namespace
}  // namespace Brenk::Messages
