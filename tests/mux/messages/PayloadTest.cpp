#include "mux/messages/Payload.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <string>

#include "json/Tree.h"
#include "tests/json/ParsedJson.h"
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

// Writes a value that a derived class makes.
class PayloadOfANumber : public MuxMessagePayloadBase {
  public:
    rapidjson::Value* ToJSONObject(rapidjson::Document* /*document*/) override { return new rapidjson::Value(7); }
};

TEST(MuxMessagePayloadBase, WritesTheObjectOfADerivedClassAsItsText) {
    PayloadOfANumber derived;
    MuxMessagePayloadBase& payload = derived;
    EXPECT_EQ(payload.ToJSON(), "7");
}

// Releases `object` and gives what it has become.
std::string TextOf(PayloadObject& object) {
    const std::unique_ptr<rapidjson::Value> value(object.Release());
    return Json::Text(*value);
}

class PayloadObjectTest : public testing::Test {
  protected:
    rapidjson::Document document_;
    PayloadObject object_{&document_};
};

TEST_F(PayloadObjectTest, IsAnObjectWithoutMembersAtFirst) {
    EXPECT_EQ(TextOf(object_), "{}");
}

TEST_F(PayloadObjectTest, HasItsMembersInTheOrderOfTheCalls) {
    object_.Add("b", std::string("x")).Add("c", true).Add("a", 1);
    EXPECT_EQ(TextOf(object_), R"({"b":"x","c":true,"a":1})");
}

TEST_F(PayloadObjectTest, WritesBooleansAsLiterals) {
    object_.Add("yes", true).Add("no", false);
    EXPECT_EQ(TextOf(object_), R"({"yes":true,"no":false})");
}

TEST_F(PayloadObjectTest, WritesNumbersOfTheirWholeRange) {
    object_.Add("least", std::numeric_limits<std::int32_t>::min())
        .Add("most", std::numeric_limits<std::int32_t>::max())
        .Add("unsigned", std::numeric_limits<std::uint32_t>::max());
    EXPECT_EQ(TextOf(object_), R"({"least":-2147483648,"most":2147483647,"unsigned":4294967295})");
}

TEST_F(PayloadObjectTest, CopiesATextWhole) {
    auto text = std::make_unique<std::string>("a text that is not kept inline\0and has a zero", 45);
    object_.Add("text", *text);
    text.reset();
    EXPECT_EQ(TextOf(object_), R"({"text":"a text that is not kept inline\u0000and has a zero"})");
}

TEST_F(PayloadObjectTest, MovesAValueOutOfAnyDocumentAndLeavesNull) {
    auto source =
        std::make_unique<rapidjson::Document>(ParsedJson(R"({"held":["a text that is not kept inline",{}]})"));
    object_.Move("Data", (*source)["held"]);
    EXPECT_EQ(Json::Text(*source), R"({"held":null})");
    source.reset();
    EXPECT_EQ(TextOf(object_), R"({"Data":["a text that is not kept inline",{}]})");
}

TEST_F(PayloadObjectTest, MovingNullAddsNothing) {
    rapidjson::Value held;
    object_.Add("a", 1).Move("Data", held);
    EXPECT_TRUE(held.IsNull());
    EXPECT_EQ(TextOf(object_), R"({"a":1})");
}

TEST_F(PayloadObjectTest, TheReleasedObjectIsTheCallersAndOutlivesIt) {
    std::unique_ptr<rapidjson::Value> value;
    {
        PayloadObject object(&document_);
        value.reset(object.Add("text", std::string("a text that is not kept inline")).Release());
    }
    EXPECT_EQ(Json::Text(*value), R"({"text":"a text that is not kept inline"})");
}

TEST(PayloadObject, WithoutADocumentStaysWithoutMembers) {
    rapidjson::Value held(7);
    PayloadObject object(nullptr);
    object.Add("a", true).Add("b", -1).Add("c", 1U).Add("d", std::string("x")).Move("e", held);
    EXPECT_EQ(TextOf(object), "{}");
}

}  // namespace
}  // namespace Mux
