#include <gtest/gtest.h>

#include "messages/BrenkAccessDenied.h"
#include "messages/BrenkActivateWhitelist.h"
#include "messages/BrenkDeactivateWhitelist.h"
#include "messages/BrenkDeviceOnlyPayload.h"
#include "messages/BrenkLongTermActivationPayload.h"
#include "messages/BrenkLongTermReleasePayload.h"
#include "messages/BrenkShortTermActivationPayload.h"
#include "tests/messages/WireBytes.h"

// Expected bytes written by hand from the payload layouts.

namespace Brenk::Messages {
namespace {

using Testing::Bytes;
using Testing::FromHex;
using Testing::Serialized;

TEST(RequestPayloads, TheBaseClassHasDataTypeZeroAndNoBytes) {
    BrenkMessagePayload payload;
    EXPECT_EQ(payload.DataType(), 0);
    EXPECT_EQ(Serialized(payload), Bytes());
}

TEST(RequestPayloads, ADeviceOnlyPayloadHasTheGivenDataTypeAndNoBytes) {
    for (const std::uint8_t dataType : Bytes{6, 7, 8}) {
        BrenkDeviceOnlyPayload payload(dataType);
        EXPECT_EQ(payload.DataType(), dataType);
        EXPECT_EQ(Serialized(payload), Bytes());
    }
}

TEST(RequestPayloads, AShortTermActivationIsItsValue) {
    BrenkShortTermActivationPayload payload(0xC8);
    EXPECT_EQ(payload.DataType(), 0x0A);
    EXPECT_EQ(Serialized(payload), FromHex("C8"));
}

TEST(RequestPayloads, ALongTermActivationOf0And5Is00000005) {
    BrenkLongTermActivationPayload payload(0, 5);
    EXPECT_EQ(payload.DataType(), 0x0B);
    EXPECT_EQ(Serialized(payload), FromHex("00 00 00 05"));
}

TEST(RequestPayloads, ALongTermActivationHasTheFirstValueFirstAndBothBigEndian) {
    BrenkLongTermActivationPayload payload(0x1234, 0xABCD);
    EXPECT_EQ(Serialized(payload), FromHex("12 34 AB CD"));
}

TEST(RequestPayloads, ALongTermReleaseOf300Is012C) {
    BrenkLongTermReleasePayload payload(300);
    EXPECT_EQ(payload.DataType(), 0x0C);
    EXPECT_EQ(Serialized(payload), FromHex("01 2C"));
    BrenkLongTermReleasePayload highest(0xFFFE);
    EXPECT_EQ(Serialized(highest), FromHex("FF FE"));
}

TEST(RequestPayloads, AccessDeniedHasDataType0DAndNoBytes) {
    BrenkAccessDenied payload;
    EXPECT_EQ(payload.DataType(), 0x0D);
    EXPECT_EQ(Serialized(payload), Bytes());
}

TEST(RequestPayloads, ActivateWhitelistHasDataType1EAndNoBytes) {
    BrenkActivateWhitelist payload;
    EXPECT_EQ(payload.DataType(), 0x1E);
    EXPECT_EQ(Serialized(payload), Bytes());
}

TEST(RequestPayloads, DeactivateWhitelistHasDataType1FAndNoBytes) {
    BrenkDeactivateWhitelist payload;
    EXPECT_EQ(payload.DataType(), 0x1F);
    EXPECT_EQ(Serialized(payload), Bytes());
}

}  // namespace
}  // namespace Brenk::Messages
