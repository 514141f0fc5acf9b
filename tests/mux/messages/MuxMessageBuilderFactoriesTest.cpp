// The payloads of answers and events, as the Mux has them made.

#include <gtest/gtest.h>

#include "mux/messages/MuxMessageBuilder.h"
#include "tests/json/ParsedJson.h"

using Testing::ParsedJson;

namespace Mux {
namespace {

TEST(BuildAckPayload, WithoutDataOrWithANullValueHasNoData) {
    EXPECT_EQ(MuxMessageBuilder().BuildAckPayload()->ToJSON(), "{}");
    EXPECT_EQ(MuxMessageBuilder().BuildAckPayload(rapidjson::Value())->ToJSON(), "{}");
}

TEST(BuildAckPayload, CopiesTheDataAndLeavesItAsItWas) {
    const auto data = ParsedJson(R"({"a":1})");
    EXPECT_EQ(MuxMessageBuilder().BuildAckPayload(data)->ToJSON(), R"({"Data":{"a":1}})");
    EXPECT_EQ(MuxMessageBuilder().BuildAckPayload(data)->ToJSON(), R"({"Data":{"a":1}})");
}

TEST(BuildNackPayload, HoldsErrorCodeMessageAndData) {
    const auto plain = MuxMessageBuilder().BuildNackPayload(11, "Setup number mismatch.");
    EXPECT_EQ(plain->ErrorCode(), 11);
    EXPECT_EQ(plain->Message(), "Setup number mismatch.");
    EXPECT_TRUE(plain->Data().IsNull());
    EXPECT_EQ(MuxMessageBuilder().BuildNackPayload(1, "m", ParsedJson("[2]"))->ToJSON(),
              R"({"ErrorCode":1,"Message":"m","Data":[2]})");
}

TEST(BuildLockOperationResponse, HoldsSuccessAndErrorCode) {
    EXPECT_EQ(MuxMessageBuilder().BuildLockOperationResponse(false, 3)->ToJSON(), R"({"Success":false,"ErrorCode":3})");
}

TEST(BuildLockStatusResponse, PutsEachValueInItsPlaceAndTheScandinavianFireModeOff) {
    MuxMessageBuilder builder;
    EXPECT_EQ(builder.BuildLockStatusResponse(2, 3, true, true, true, true)->ToJSON(),
              R"({"BatteryStatus":2,"QoS":3,"MechanicalActive":true,"BatteryWarningLevel":true,)"
              R"("BatteryAlarmLevel":true,"ScandinavianFireMode":false,"ReaderConnected":true})");
    EXPECT_TRUE(builder.BuildLockStatusResponse(0, 0, true, false, false, false)->MechanicalActive());
    EXPECT_TRUE(builder.BuildLockStatusResponse(0, 0, false, true, false, false)->BatteryWarningLevel());
    EXPECT_TRUE(builder.BuildLockStatusResponse(0, 0, false, false, true, false)->BatteryAlarmLevel());
    EXPECT_TRUE(builder.BuildLockStatusResponse(0, 0, false, false, false, true)->ReaderConnected());
}

TEST(BuildCardEvent, HoldsGatewayAddressTimeAndCard) {
    EXPECT_EQ(MuxMessageBuilder().BuildCardEvent(1, 65535, "9:5:3 1-2-2024", "04A1B2C3")->ToJSON(),
              R"({"gatewayID":1,"lockID":65535,"timestamp":"9:5:3 1-2-2024","RFIDData":"04A1B2C3"})");
}

}  // namespace
}  // namespace Mux
