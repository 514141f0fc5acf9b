#include "mux/messages/AnswerPayloads.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <type_traits>
#include <vector>

#include "json/Tree.h"
#include "mux/messages/Payload.h"
#include "tests/json/ParsedJson.h"
#include "tests/mux/messages/PayloadText.h"
#include "tests/mux/messages/VirtualSlot.h"

using Testing::ParsedJson;
using Testing::TextWithoutDocument;

namespace Mux {
namespace {

TEST(MuxAckMessagePayload, WithoutDataIsAnEmptyObject) {
    EXPECT_EQ(MuxAckMessagePayload().ToJSON(), "{}");
}

TEST(MuxAckMessagePayload, WithANullValueIsAnEmptyObject) {
    EXPECT_EQ(MuxAckMessagePayload(rapidjson::Value()).ToJSON(), "{}");
}

TEST(MuxAckMessagePayload, WithDataNestsItUnderData) {
    EXPECT_EQ(MuxAckMessagePayload(ParsedJson(R"({"a":[1,"x"]})")).ToJSON(), R"({"Data":{"a":[1,"x"]}})");
}

TEST(MuxAckMessagePayload, HoldsDataOfAnyType) {
    EXPECT_EQ(MuxAckMessagePayload(rapidjson::Value(false)).ToJSON(), R"({"Data":false})");
    EXPECT_EQ(MuxAckMessagePayload(rapidjson::Value("text")).ToJSON(), R"({"Data":"text"})");
}

TEST(MuxAckMessagePayload, MovesItsDataOutSoASecondTextHasNone) {
    MuxAckMessagePayload payload(ParsedJson("[1]"));
    EXPECT_EQ(payload.ToJSON(), R"({"Data":[1]})");
    EXPECT_TRUE(payload.Data().IsNull());
    EXPECT_EQ(payload.ToJSON(), "{}");
}

TEST(MuxAckMessagePayload, KeepsItsDataWhenItIsGivenNoDocument) {
    MuxAckMessagePayload payload(ParsedJson("[1]"));
    const std::unique_ptr<rapidjson::Value> object(payload.ToJSONObject(nullptr));
    EXPECT_EQ(Json::Text(*object), "{}");
    EXPECT_EQ(Json::Text(payload.Data()), "[1]");
}

TEST(MuxAckMessagePayload, WritesDataThatOutlivesThePayloadAndTheDocumentItCameFrom) {
    rapidjson::Document target;
    std::unique_ptr<rapidjson::Value> object;
    {
        auto source = std::make_unique<rapidjson::Document>(ParsedJson(R"(["a text that is not kept inline"])"));
        MuxAckMessagePayload payload(*source);
        source.reset();
        object.reset(payload.ToJSONObject(&target));
    }
    EXPECT_EQ(Json::Text(*object), R"({"Data":["a text that is not kept inline"]})");
}

static_assert(!std::is_base_of_v<MuxMessagePayloadBase, MuxNackMessagePayload>);
static_assert(std::is_polymorphic_v<MuxNackMessagePayload>);
static_assert(!std::has_virtual_destructor_v<MuxNackMessagePayload>);

TEST(MuxNackMessagePayload, WritesErrorCodeAndMessageAndNoDataWhenThereIsNone) {
    EXPECT_EQ(MuxNackMessagePayload(0, "Error in request").ToJSON(), R"({"ErrorCode":0,"Message":"Error in request"})");
    EXPECT_EQ(MuxNackMessagePayload(1, "m", rapidjson::Value()).ToJSON(), R"({"ErrorCode":1,"Message":"m"})");
}

// It has no virtual destructor in front of them.
TEST(MuxNackMessagePayload, HasItsTextInTheFirstSlotOfItsVirtualTableAndItsObjectInTheSecond) {
    EXPECT_EQ(Testing::VirtualSlot(&MuxNackMessagePayload::ToJSON), 1U);
    EXPECT_EQ(Testing::VirtualSlot(&MuxNackMessagePayload::ToJSONObject), 2U);
}

TEST(MuxNackMessagePayload, WritesItsDataLast) {
    EXPECT_EQ(MuxNackMessagePayload(8, "No route for the requested device. ", ParsedJson(R"({"a":1})")).ToJSON(),
              R"({"ErrorCode":8,"Message":"No route for the requested device. ","Data":{"a":1}})");
}

TEST(MuxNackMessagePayload, WritesAnEmptyMessageToo) {
    EXPECT_EQ(MuxNackMessagePayload(5, "").ToJSON(), R"({"ErrorCode":5,"Message":""})");
}

TEST(MuxNackMessagePayload, WritesErrorCodesAtTheLimits) {
    EXPECT_EQ(MuxNackMessagePayload(std::numeric_limits<std::int32_t>::min(), "").ToJSON(),
              R"({"ErrorCode":-2147483648,"Message":""})");
    EXPECT_EQ(MuxNackMessagePayload(std::numeric_limits<std::int32_t>::max(), "").ToJSON(),
              R"({"ErrorCode":2147483647,"Message":""})");
}

TEST(MuxNackMessagePayload, MovesItsDataOutSoASecondTextHasNone) {
    MuxNackMessagePayload payload(1, "m", ParsedJson("[1]"));
    EXPECT_EQ(payload.ToJSON(), R"({"ErrorCode":1,"Message":"m","Data":[1]})");
    EXPECT_TRUE(payload.Data().IsNull());
    EXPECT_EQ(payload.ToJSON(), R"({"ErrorCode":1,"Message":"m"})");
}

TEST(MuxNackMessagePayload, WritesAnObjectWithoutMembersWhenItIsGivenNoDocument) {
    MuxNackMessagePayload payload(1, "m", ParsedJson("[1]"));
    const std::unique_ptr<rapidjson::Value> object(payload.ToJSONObject(nullptr));
    EXPECT_EQ(Json::Text(*object), "{}");
    EXPECT_EQ(Json::Text(payload.Data()), "[1]");
}

TEST(MuxNackMessagePayload, WritesTextAndDataThatOutliveThePayload) {
    rapidjson::Document target;
    std::unique_ptr<rapidjson::Value> object;
    {
        MuxNackMessagePayload payload(1, "a message that is not kept inline", ParsedJson(R"(["nor is this text"])"));
        object.reset(payload.ToJSONObject(&target));
    }
    EXPECT_EQ(Json::Text(*object),
              R"({"ErrorCode":1,"Message":"a message that is not kept inline","Data":["nor is this text"]})");
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

TEST(MuxLockOperationResponsePayload, WritesAnObjectWithoutMembersWhenItIsGivenNoDocument) {
    MuxLockOperationResponsePayload payload(true, 1);
    EXPECT_EQ(TextWithoutDocument(payload), "{}");
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

TEST(MuxGetLockStatusResponsePayload, WritesAnObjectWithoutMembersWhenItIsGivenNoDocument) {
    MuxGetLockStatusResponsePayload payload(1, 2, true, true, true, true, true);
    EXPECT_EQ(TextWithoutDocument(payload), "{}");
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
    EXPECT_EQ(Json::Text(*object), R"({"gatewayID":1,"lockID":5,"timestamp":"a time that is not kept inline",)"
                                   R"("RFIDData":"card data that is not kept inline"})");
}

TEST(MuxCardEventPayload, WritesAnObjectWithoutMembersWhenItIsGivenNoDocument) {
    MuxCardEventPayload payload(1, 2, "t", "r");
    EXPECT_EQ(TextWithoutDocument(payload), "{}");
}

}  // namespace
}  // namespace Mux
