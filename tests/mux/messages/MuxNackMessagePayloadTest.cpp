#include "mux/messages/MuxNackMessagePayload.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <type_traits>

#include "mux/messages/JsonTree.h"
#include "mux/messages/MuxMessagePayloadBase.h"
#include "tests/mux/messages/ParsedJson.h"
#include "tests/mux/messages/VirtualSlot.h"

using Testing::ParsedJson;

namespace Mux {
namespace {

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
    EXPECT_EQ(JsonText(*object), "{}");
    EXPECT_EQ(JsonText(payload.Data()), "[1]");
}

TEST(MuxNackMessagePayload, WritesTextAndDataThatOutliveThePayload) {
    rapidjson::Document target;
    std::unique_ptr<rapidjson::Value> object;
    {
        MuxNackMessagePayload payload(1, "a message that is not kept inline", ParsedJson(R"(["nor is this text"])"));
        object.reset(payload.ToJSONObject(&target));
    }
    EXPECT_EQ(JsonText(*object),
              R"({"ErrorCode":1,"Message":"a message that is not kept inline","Data":["nor is this text"]})");
}

}  // namespace
}  // namespace Mux
