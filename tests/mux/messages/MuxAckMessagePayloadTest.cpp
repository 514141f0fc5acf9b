#include "mux/messages/MuxAckMessagePayload.h"

#include <gtest/gtest.h>

#include <memory>

#include "mux/messages/JsonTree.h"
#include "tests/mux/messages/ParsedJson.h"

using Testing::ParsedJson;

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
    EXPECT_EQ(JsonText(*object), "{}");
    EXPECT_EQ(JsonText(payload.Data()), "[1]");
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
    EXPECT_EQ(JsonText(*object), R"({"Data":["a text that is not kept inline"]})");
}

}  // namespace
}  // namespace Mux
