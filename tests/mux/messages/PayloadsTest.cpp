// The payloads of messages: the JSON objects that they make of their fields.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include "json/Tree.h"
#include "mux/messages/AnswerPayloads.h"
#include "mux/messages/RequestPayloads.h"
#include "tests/json/ParsedJson.h"
#include "tests/mux/messages/Limits.h"

using Testing::kLeast;
using Testing::kMost;
using Testing::ParsedJson;

namespace Mux {
namespace {

// The text of the object that the payload makes; "none" for null.
template <typename Payload>
std::string ObjectText(Payload& payload, rapidjson::Document* document) {
    const std::unique_ptr<rapidjson::Value> object(payload.ToJSONObject(document));
    return object ? Json::Text(*object) : "none";
}

// Expects the text of the payload, and no members without a document.
template <typename Payload>
void ExpectText(Payload&& payload, const std::string& expected) {
    EXPECT_EQ(ObjectText(payload, nullptr), "{}");
    EXPECT_EQ(payload.ToJSON(), expected);
}

TEST(AnswerPayloads, WriteTheirMembersInTheirOrder) {
    ExpectText(MuxAckMessagePayload(), "{}");
    ExpectText(MuxAckMessagePayload(rapidjson::Value()), "{}");
    ExpectText(MuxAckMessagePayload(rapidjson::Value(false)), R"({"Data":false})");
    ExpectText(MuxAckMessagePayload(ParsedJson(R"({"a":[1,"x"]})")), R"({"Data":{"a":[1,"x"]}})");
    ExpectText(MuxNackMessagePayload(kLeast, ""), R"({"ErrorCode":-2147483648,"Message":""})");
    ExpectText(MuxNackMessagePayload(kMost, "m", rapidjson::Value()), R"({"ErrorCode":2147483647,"Message":"m"})");
    ExpectText(MuxNackMessagePayload(8, "m", ParsedJson(R"({"a":1})")),
               R"({"ErrorCode":8,"Message":"m","Data":{"a":1}})");
    ExpectText(MuxLockOperationResponsePayload(true, 0), R"({"Success":true,"ErrorCode":0})");
    ExpectText(MuxLockOperationResponsePayload(false, -7), R"({"Success":false,"ErrorCode":-7})");
    ExpectText(MuxCardEventPayload(-1, 65535, "9:5:3 1-2-2024", "04A1"),
               R"({"gatewayID":-1,"lockID":65535,"timestamp":"9:5:3 1-2-2024","RFIDData":"04A1"})");
}

TEST(AnswerPayloads, WriteEachFlagOfALockUnderItsOwnName) {
    const char* const names[] = {"MechanicalActive", "BatteryWarningLevel", "BatteryAlarmLevel", "ScandinavianFireMode",
                                 "ReaderConnected"};
    for (int set = 0; set < 5; ++set) {
        std::string expected = R"({"BatteryStatus":3,"QoS":2)";
        for (int name = 0; name < 5; ++name) {
            expected += ",\"" + std::string(names[name]) + "\":" + (name == set ? "true" : "false");
        }
        ExpectText(MuxGetLockStatusResponsePayload(3, 2, set == 0, set == 1, set == 2, set == 3, set == 4),
                   expected + "}");
    }
}

TEST(AnswerPayloads, MoveTheirDataOutSoThatASecondTextHasNone) {
    MuxAckMessagePayload ack(ParsedJson("[1]"));
    EXPECT_EQ(ObjectText(ack, nullptr), "{}");
    EXPECT_EQ(Json::Text(ack.Data()), "[1]");
    EXPECT_EQ(ack.ToJSON(), R"({"Data":[1]})");
    EXPECT_TRUE(ack.Data().IsNull());
    EXPECT_EQ(ack.ToJSON(), "{}");
    MuxNackMessagePayload nack(1, "m", ParsedJson("[1]"));
    EXPECT_EQ(ObjectText(nack, nullptr), "{}");
    EXPECT_EQ(Json::Text(nack.Data()), "[1]");
    EXPECT_EQ(nack.ToJSON(), R"({"ErrorCode":1,"Message":"m","Data":[1]})");
    EXPECT_TRUE(nack.Data().IsNull());
    EXPECT_EQ(nack.ToJSON(), R"({"ErrorCode":1,"Message":"m"})");
}

// The text of an object whose payload and source document are gone.
template <typename Payload, typename... Arguments>
std::string TextAfterThePayload(Arguments... arguments) {
    rapidjson::Document target;
    std::unique_ptr<rapidjson::Value> object;
    {
        const rapidjson::Document data = ParsedJson(R"(["data that is not kept inline"])");
        if constexpr (std::is_constructible_v<Payload, Arguments..., const rapidjson::Value&>) {
            object.reset(Payload(arguments..., data).ToJSONObject(&target));
        } else {
            object.reset(Payload(arguments...).ToJSONObject(&target));
        }
    }
    return Json::Text(*object);
}

TEST(AnswerPayloads, WriteTextAndDataThatOutliveThem) {
    EXPECT_EQ(TextAfterThePayload<MuxAckMessagePayload>(), R"({"Data":["data that is not kept inline"]})");
    EXPECT_EQ(
        TextAfterThePayload<MuxNackMessagePayload>(1, "a message that is not kept inline"),
        R"({"ErrorCode":1,"Message":"a message that is not kept inline","Data":["data that is not kept inline"]})");
    EXPECT_EQ(TextAfterThePayload<MuxCardEventPayload>(1, std::uint16_t{5}, "a time that is not kept inline",
                                                       "card data that is not kept inline"),
              R"({"gatewayID":1,"lockID":5,"timestamp":"a time that is not kept inline",)"
              R"("RFIDData":"card data that is not kept inline"})");
}

TEST(RequestPayloads, WriteTheKeysThatTheyAreParsedFrom) {
    const char* const lock = R"({"gatewayID":-2147483648,"lockID":2147483647})";
    ExpectText(MuxLockRequestPayload(kLeast, kMost), lock);
    ExpectText(MuxLockOpenMessagePayload(kLeast, kMost), lock);
    ExpectText(MuxLockCloseMessagePayload(kLeast, kMost), lock);
    ExpectText(MuxGetLockStatusMessagePayload(kLeast, kMost), lock);
    ExpectText(MuxAccessDeniedMessagePayload(kLeast, kMost), lock);
    ExpectText(MuxWhitelistClearPayload(kLeast, kMost), lock);
    ExpectText(MuxWhitelistEnablePayload(kLeast, kMost), lock);
    ExpectText(MuxWhitelistDisablePayload(kLeast, kMost), lock);
    ExpectText(MuxLockOpenCloseMessagePayload(1, 2, 255), R"({"gatewayID":1,"lockID":2,"duration":255})");
    ExpectText(
        MuxWhitelistSetPayload(1, 2, true, 3, 4294967295U, {0xC3, 0xB2, 0x01}),
        R"({"gatewayID":1,"lockID":2,"setupNumber":3,"options":4294967295,"cardData":"01B2C3","isUIDCard":true})");
}

TEST(MuxConfigureMessagePayload, TakesTheValueOverAndIsWrittenAgainAndAgain) {
    const std::string text = R"({"Description":"a text that is not kept inline"})";
    auto source = std::make_unique<rapidjson::Document>(ParsedJson(R"({"Data":)" + text + "}"));
    MuxConfigureMessagePayload payload(std::move((*source)["Data"]));
    EXPECT_EQ(Json::Text(*source), R"({"Data":null})");
    source.reset();
    EXPECT_EQ(Json::Text(payload.Data()), text);
    ExpectText(payload, text);
    ExpectText(payload, text);
}

TEST(MuxMessagePayloadBase, HasNoTextAndNoObject) {
    MuxMessagePayloadBase payload;
    rapidjson::Document document;
    EXPECT_EQ(payload.ToJSON(), "");
    EXPECT_EQ(ObjectText(payload, &document), "none");
    EXPECT_EQ(ObjectText(payload, nullptr), "none");
}

// Which slot of its class's virtual table the function takes, the first being 1. As the compilers of our targets lay a
// member pointer out: its first word is the slot's offset in bytes, plus one where the processor leaves that bit free.
template <typename Function>
std::size_t VirtualSlot(Function function) {
    std::uintptr_t word = 0;
    static_assert(sizeof function >= sizeof word);
    std::memcpy(&word, &function, sizeof word);
    return (word & ~std::uintptr_t{1}) / sizeof(void*) + 1;
}

static_assert(!std::is_base_of_v<MuxMessagePayloadBase, MuxNackMessagePayload>);
static_assert(!std::has_virtual_destructor_v<MuxNackMessagePayload>);

// In the base they follow the two destructors; the payload of a NACK has no virtual destructor.
TEST(VirtualTables, HaveTheTextBeforeTheObject) {
    EXPECT_EQ(VirtualSlot(&MuxMessagePayloadBase::ToJSON), 3U);
    EXPECT_EQ(VirtualSlot(&MuxMessagePayloadBase::ToJSONObject), 4U);
    EXPECT_EQ(VirtualSlot(&MuxNackMessagePayload::ToJSON), 1U);
    EXPECT_EQ(VirtualSlot(&MuxNackMessagePayload::ToJSONObject), 2U);
}

// Releases `object` and returns its text.
std::string TextOf(PayloadObject& object) {
    const std::unique_ptr<rapidjson::Value> value(object.Release());
    return Json::Text(*value);
}

TEST(PayloadObject, HasItsMembersInTheOrderOfTheCalls) {
    rapidjson::Document document;
    EXPECT_EQ(TextOf(PayloadObject(&document).Add("b", std::string("x")).Add("c", true).Add("d", false).Add("a", 1)),
              R"({"b":"x","c":true,"d":false,"a":1})");
    EXPECT_EQ(TextOf(PayloadObject(&document).Add("unsigned", std::numeric_limits<std::uint32_t>::max())),
              R"({"unsigned":4294967295})");
}

TEST(PayloadObject, CopiesATextWhole) {
    rapidjson::Document document;
    PayloadObject object(&document);
    object.Add("text", std::string("a text that is not kept inline\0and has a zero", 45));
    EXPECT_EQ(TextOf(object), R"({"text":"a text that is not kept inline\u0000and has a zero"})");
}

TEST(PayloadObject, MovesAValueOutOfAnyDocumentAndAddsNothingForNull) {
    rapidjson::Document document;
    auto source =
        std::make_unique<rapidjson::Document>(ParsedJson(R"({"held":["a text that is not kept inline",{}]})"));
    PayloadObject object(&document);
    object.Move("Data", (*source)["held"]);
    EXPECT_EQ(Json::Text(*source), R"({"held":null})");
    object.Move("Again", (*source)["held"]);
    source.reset();
    EXPECT_EQ(TextOf(object), R"({"Data":["a text that is not kept inline",{}]})");
}

}  // namespace
}  // namespace Mux
