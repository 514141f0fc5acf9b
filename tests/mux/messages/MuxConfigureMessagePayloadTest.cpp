#include "mux/messages/MuxConfigureMessagePayload.h"

#include <gtest/gtest.h>

#include <memory>
#include <utility>

#include "mux/messages/JsonTree.h"
#include "tests/mux/messages/ParsedJson.h"
#include "tests/mux/messages/PayloadText.h"

using Testing::ParsedJson;
using Testing::TextWithoutDocument;

namespace Mux {
namespace {

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

TEST(MuxConfigureMessagePayload, WritesAnObjectWithoutMembersWhenItIsGivenNoDocument) {
    MuxConfigureMessagePayload payload(ParsedJson(R"({"a":1})"));
    EXPECT_EQ(TextWithoutDocument(payload), "{}");
}

}  // namespace
}  // namespace Mux
