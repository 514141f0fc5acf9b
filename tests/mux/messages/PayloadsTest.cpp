// The payloads that only hold their fields and write them.

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <vector>

#include "mux/messages/JsonTree.h"
#include "mux/messages/MuxAccessDeniedMessagePayload.h"
#include "mux/messages/MuxCardEventPayload.h"
#include "mux/messages/MuxConfigureMessagePayload.h"
#include "mux/messages/MuxGetLockStatusMessagePayload.h"
#include "mux/messages/MuxGetLockStatusResponsePayload.h"
#include "mux/messages/MuxLockCloseMessagePayload.h"
#include "mux/messages/MuxLockOpenCloseMessagePayload.h"
#include "mux/messages/MuxLockOpenMessagePayload.h"
#include "mux/messages/MuxLockOperationResponsePayload.h"
#include "mux/messages/MuxMessagePayloadBase.h"
#include "mux/messages/MuxWhitelistClearPayload.h"
#include "mux/messages/MuxWhitelistDisablePayload.h"
#include "mux/messages/MuxWhitelistEnablePayload.h"
#include "mux/messages/MuxWhitelistSetPayload.h"
#include "tests/mux/messages/ParsedJson.h"
#include "tests/mux/messages/VirtualSlot.h"

using Testing::ParsedJson;
using Testing::VirtualSlot;

namespace Mux {
namespace {

TEST(MuxMessagePayloadBase, HasNoTextAndNoObject) {
    MuxMessagePayloadBase payload;
    rapidjson::Document document;
    EXPECT_EQ(payload.ToJSON(), "");
    EXPECT_EQ(payload.ToJSONObject(&document), nullptr);
    EXPECT_EQ(payload.ToJSONObject(nullptr), nullptr);
}

// Behind the two destructors.
TEST(MuxMessagePayloadBase, HasItsTextInTheThirdSlotOfItsVirtualTableAndItsObjectInTheFourth) {
    EXPECT_EQ(VirtualSlot(&MuxMessagePayloadBase::ToJSON), 3U);
    EXPECT_EQ(VirtualSlot(&MuxMessagePayloadBase::ToJSONObject), 4U);
}

TEST(MuxLockRequestPayload, WritesGatewayAndLockForEveryRequestThatNamesNothingElse) {
    const char* const expected = R"({"gatewayID":-2147483648,"lockID":2147483647})";
    constexpr auto kMin = std::numeric_limits<std::int32_t>::min();
    constexpr auto kMax = std::numeric_limits<std::int32_t>::max();
    EXPECT_EQ(MuxLockOpenMessagePayload(kMin, kMax).ToJSON(), expected);
    EXPECT_EQ(MuxLockCloseMessagePayload(kMin, kMax).ToJSON(), expected);
    EXPECT_EQ(MuxGetLockStatusMessagePayload(kMin, kMax).ToJSON(), expected);
    EXPECT_EQ(MuxAccessDeniedMessagePayload(kMin, kMax).ToJSON(), expected);
    EXPECT_EQ(MuxWhitelistClearPayload(kMin, kMax).ToJSON(), expected);
    EXPECT_EQ(MuxWhitelistEnablePayload(kMin, kMax).ToJSON(), expected);
    EXPECT_EQ(MuxWhitelistDisablePayload(kMin, kMax).ToJSON(), expected);
}

TEST(MuxLockOpenCloseMessagePayload, WritesItsDurationAsANumber) {
    EXPECT_EQ(MuxLockOpenCloseMessagePayload(1, 2, 255).ToJSON(), R"({"gatewayID":1,"lockID":2,"duration":255})");
    EXPECT_EQ(MuxLockOpenCloseMessagePayload(1, 2, 0).ToJSON(), R"({"gatewayID":1,"lockID":2,"duration":0})");
}

TEST(MuxConfigureMessagePayload, TakesTheValueOverAndLeavesNull) {
    auto source = ParsedJson(R"({"Data":{"Enabled":true,"Gateways":[]}})");
    MuxConfigureMessagePayload payload(std::move(source["Data"]));
    EXPECT_EQ(JsonText(source), R"({"Data":null})");
    EXPECT_EQ(JsonText(payload.Data()), R"({"Enabled":true,"Gateways":[]})");
}

TEST(MuxConfigureMessagePayload, OutlivesTheDocumentThatTheValueCameFrom) {
    auto source =
        std::make_unique<rapidjson::Document>(ParsedJson(R"({"Description":"a text that is not kept inline"})"));
    MuxConfigureMessagePayload payload(std::move(*source));
    source.reset();
    EXPECT_EQ(payload.ToJSON(), R"({"Description":"a text that is not kept inline"})");
}

TEST(MuxConfigureMessagePayload, CanBeWrittenAgainAndAgain) {
    MuxConfigureMessagePayload payload(ParsedJson(R"({"Enabled":true})"));
    EXPECT_EQ(payload.ToJSON(), R"({"Enabled":true})");
    EXPECT_EQ(payload.ToJSON(), R"({"Enabled":true})");
}

TEST(MuxLockOperationResponsePayload, WritesSuccessAndErrorCode) {
    EXPECT_EQ(MuxLockOperationResponsePayload(true, 0).ToJSON(), R"({"Success":true,"ErrorCode":0})");
    EXPECT_EQ(MuxLockOperationResponsePayload(false, -7).ToJSON(), R"({"Success":false,"ErrorCode":-7})");
}

TEST(MuxLockOperationResponsePayload, HoldsItsFields) {
    const MuxLockOperationResponsePayload payload(true, 12);
    EXPECT_TRUE(payload.Success());
    EXPECT_EQ(payload.ErrorCode(), 12);
}

TEST(MuxGetLockStatusResponsePayload, AlwaysWritesAllSevenMembersInTheirOrder) {
    EXPECT_EQ(MuxGetLockStatusResponsePayload(0, 0, false, false, false, false, false).ToJSON(),
              R"({"BatteryStatus":0,"QoS":0,"MechanicalActive":false,"BatteryWarningLevel":false,)"
              R"("BatteryAlarmLevel":false,"ScandinavianFireMode":false,"ReaderConnected":false})");
    EXPECT_EQ(MuxGetLockStatusResponsePayload(3, 2, true, true, true, true, true).ToJSON(),
              R"({"BatteryStatus":3,"QoS":2,"MechanicalActive":true,"BatteryWarningLevel":true,)"
              R"("BatteryAlarmLevel":true,"ScandinavianFireMode":true,"ReaderConnected":true})");
}

TEST(MuxGetLockStatusResponsePayload, WritesEachFlagUnderItsOwnName) {
    using Flags = std::vector<bool>;
    const char* const names[] = {"MechanicalActive", "BatteryWarningLevel", "BatteryAlarmLevel", "ScandinavianFireMode",
                                 "ReaderConnected"};
    for (std::size_t set = 0; set < 5; ++set) {
        Flags flags(5, false);
        flags.at(set) = true;
        MuxGetLockStatusResponsePayload payload(0, 0, flags.at(0), flags.at(1), flags.at(2), flags.at(3), flags.at(4));
        const auto written = ParsedJson(payload.ToJSON());
        for (std::size_t name = 0; name < 5; ++name) {
            EXPECT_EQ(written[names[name]].GetBool(), name == set) << names[name];
        }
    }
}

TEST(MuxGetLockStatusResponsePayload, HoldsItsFields) {
    const MuxGetLockStatusResponsePayload payload(3, 2, true, false, true, false, true);
    EXPECT_EQ(payload.BatteryStatus(), 3);
    EXPECT_EQ(payload.QoS(), 2);
    EXPECT_TRUE(payload.MechanicalActive());
    EXPECT_FALSE(payload.BatteryWarningLevel());
    EXPECT_TRUE(payload.BatteryAlarmLevel());
    EXPECT_FALSE(payload.ScandinavianFireMode());
    EXPECT_TRUE(payload.ReaderConnected());
}

TEST(MuxCardEventPayload, WritesGatewayLockTimeAndCardInThisOrder) {
    EXPECT_EQ(MuxCardEventPayload(1, 5, "9:5:3 1-2-2024", "04A1B2C3").ToJSON(),
              R"({"gatewayID":1,"lockID":5,"timestamp":"9:5:3 1-2-2024","RFIDData":"04A1B2C3"})");
}

TEST(MuxCardEventPayload, WritesTheHighestDeviceAddressAsAPositiveNumber) {
    EXPECT_EQ(MuxCardEventPayload(-1, 65535, "", "").ToJSON(),
              R"({"gatewayID":-1,"lockID":65535,"timestamp":"","RFIDData":""})");
}

TEST(MuxCardEventPayload, HoldsItsFields) {
    const MuxCardEventPayload payload(1, 5, "now", "AB");
    EXPECT_EQ(payload.GatewayID(), 1);
    EXPECT_EQ(payload.LockID(), 5);
    EXPECT_EQ(payload.Timestamp(), "now");
    EXPECT_EQ(payload.RfidData(), "AB");
}

TEST(MuxCardEventPayload, WritesTextThatOutlivesThePayload) {
    rapidjson::Document target;
    std::unique_ptr<rapidjson::Value> object;
    {
        MuxCardEventPayload payload(1, 5, "a time that is not kept inline", "card data that is not kept inline");
        object.reset(payload.ToJSONObject(&target));
    }
    EXPECT_EQ(JsonText(*object), R"({"gatewayID":1,"lockID":5,"timestamp":"a time that is not kept inline",)"
                                 R"("RFIDData":"card data that is not kept inline"})");
}

TEST(Payloads, WriteAnObjectWithoutMembersWhenTheyAreGivenNoDocument) {
    std::vector<std::unique_ptr<MuxMessagePayloadBase>> payloads;
    payloads.push_back(std::make_unique<MuxLockOpenMessagePayload>(1, 2));
    payloads.push_back(std::make_unique<MuxLockOpenCloseMessagePayload>(1, 2, 3));
    payloads.push_back(std::make_unique<MuxWhitelistSetPayload>(1, 2, true, 3, 4, std::vector<unsigned char>{5}));
    payloads.push_back(std::make_unique<MuxConfigureMessagePayload>(ParsedJson(R"({"a":1})")));
    payloads.push_back(std::make_unique<MuxLockOperationResponsePayload>(true, 1));
    payloads.push_back(std::make_unique<MuxGetLockStatusResponsePayload>(1, 2, true, true, true, true, true));
    payloads.push_back(std::make_unique<MuxCardEventPayload>(1, 2, "t", "r"));
    for (const auto& payload : payloads) {
        const std::unique_ptr<rapidjson::Value> object(payload->ToJSONObject(nullptr));
        ASSERT_NE(object, nullptr);
        EXPECT_EQ(JsonText(*object), "{}");
    }
}

}  // namespace
}  // namespace Mux
