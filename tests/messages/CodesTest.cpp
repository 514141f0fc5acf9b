#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "messages/Codes.h"

// The numbers are the gateway's and are fixed: they are written out here once more, so that none changes unseen.

namespace Brenk::Messages {
namespace {

TEST(CodeTables, EveryCommandHasTheGatewaysCode) {
    EXPECT_EQ(CommandCodes::kResponse, 0x00);
    EXPECT_EQ(CommandCodes::kGetStatus, 0x01);
    EXPECT_EQ(CommandCodes::kAddToWhitelist, 0x03);
    EXPECT_EQ(CommandCodes::kRemoveFromWhitelist, 0x04);
    EXPECT_EQ(CommandCodes::kDeleteWholeWhitelist, 0x05);
    EXPECT_EQ(CommandCodes::kDisableWhitelist, 0x06);
    EXPECT_EQ(CommandCodes::kEnableWhitelist, 0x07);
    EXPECT_EQ(CommandCodes::kAccessDenied, 0x08);
    EXPECT_EQ(CommandCodes::kShortTermActivation, 0x09);
    EXPECT_EQ(CommandCodes::kLongTermActivation, 0x0A);
    EXPECT_EQ(CommandCodes::kLongTermRelease, 0x0B);
    EXPECT_EQ(CommandCodes::kCardReaderEvent, 14);
    EXPECT_EQ(CommandCodes::kCardAccessEvent, 15);
    EXPECT_EQ(CommandCodes::kCardEvent17, 17);
    EXPECT_EQ(CommandCodes::kCardEvent18, 18);
    EXPECT_EQ(CommandCodes::kPincodeEvent, 22);
}

TEST(CodeTables, FiveCodesAreEventsAndNoOther) {
    std::vector<int> events;
    for (int code = 0; code <= 255; ++code) {
        if (CommandCodes::IsEvent(static_cast<std::uint8_t>(code))) {
            events.push_back(code);
        }
    }
    EXPECT_EQ(events, (std::vector<int>{14, 15, 17, 18, 22}));
}

TEST(CodeTables, TheSecondFormOfACommandHasTheHighBit) {
    EXPECT_EQ(CommandCodes::ForEventAnswer(CommandCodes::kAccessDenied, true), 0x88);
    EXPECT_EQ(CommandCodes::ForEventAnswer(CommandCodes::kShortTermActivation, true), 0x89);
    EXPECT_EQ(CommandCodes::ForEventAnswer(CommandCodes::kLongTermActivation, true), 0x8A);
    EXPECT_EQ(CommandCodes::ForEventAnswer(CommandCodes::kLongTermRelease, true), 0x8B);
    EXPECT_EQ(CommandCodes::ForEventAnswer(CommandCodes::kAccessDenied, false), 0x08);
}

TEST(CodeTables, EveryResponseHasTheGatewaysCode) {
    EXPECT_EQ(BRENK_RESPONSE_OK, 0);
    EXPECT_EQ(BRENK_RESPONSE_ALREADY_IN_WHITELIST, 2);
    EXPECT_EQ(BRENK_RESPONSE_WHITELIST_FULL, 3);
    EXPECT_EQ(BRENK_RESPONSE_NOT_IN_WHITELIST, 4);
    EXPECT_EQ(BRENK_RESPONSE_UNKNOWN_HEADER_VERSION, 5);
    EXPECT_EQ(BRENK_RESPONSE_NOT_SUPPORTED, 6);
    EXPECT_EQ(BRENK_RESPONSE_SEQUENCE_COUNTER_ERROR, 7);
    EXPECT_EQ(BRENK_RESPONSE_NO_ROUTE_FOR_DEVADDR, 8);
    EXPECT_EQ(BRENK_RESPONSE_DATA_LENGTH_MISMATCH, 9);
    EXPECT_EQ(BRENK_RESPONSE_MESSAGE_UNESPECTED, 10);
    EXPECT_EQ(BRENK_RESPONSE_SETUP_NUMBER_MISMATCH, 11);
    EXPECT_EQ(BRENK_RESPONSE_SYSTEM_INCONSISTENCY, 12);
}

TEST(CodeTables, EveryPayloadKindHasItsDataType) {
    EXPECT_EQ(PayloadDataTypes::kUnmarked, 0);
    EXPECT_EQ(PayloadDataTypes::kGetStatus, 2);
    EXPECT_EQ(PayloadDataTypes::kDisableWhitelistRequest, 6);
    EXPECT_EQ(PayloadDataTypes::kEnableWhitelistRequest, 7);
    EXPECT_EQ(PayloadDataTypes::kAccessDeniedRequest, 8);
    EXPECT_EQ(PayloadDataTypes::kShortTermActivation, 0x0A);
    EXPECT_EQ(PayloadDataTypes::kLongTermActivation, 0x0B);
    EXPECT_EQ(PayloadDataTypes::kLongTermRelease, 0x0C);
    EXPECT_EQ(PayloadDataTypes::kAccessDenied, 0x0D);
    EXPECT_EQ(PayloadDataTypes::kActivateWhitelist, 0x1E);
    EXPECT_EQ(PayloadDataTypes::kDeactivateWhitelist, 0x1F);
    EXPECT_EQ(PayloadDataTypes::kCardReader, 50);
    EXPECT_EQ(PayloadDataTypes::kPincode, 51);
}

}  // namespace
}  // namespace Brenk::Messages
