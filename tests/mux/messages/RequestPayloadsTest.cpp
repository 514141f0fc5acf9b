#include "mux/messages/RequestPayloads.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <utility>

#include "json/Tree.h"
#include "tests/json/ParsedJson.h"
#include "tests/mux/messages/PayloadText.h"

using testing::ElementsAre;
using Testing::ParsedJson;
using Testing::TextWithoutDocument;

namespace Mux {
namespace {

// Each request that has nothing but its lock.
template <typename Payload>
class LockRequest : public testing::Test {};

using LockRequests = testing::Types<MuxLockRequestPayload, MuxLockOpenMessagePayload, MuxLockCloseMessagePayload,
                                    MuxGetLockStatusMessagePayload, MuxAccessDeniedMessagePayload,
                                    MuxWhitelistClearPayload, MuxWhitelistEnablePayload, MuxWhitelistDisablePayload>;
struct NumberedName {
    template <typename Payload>
    static std::string GetName(int index) {
        return std::to_string(index);
    }
};

TYPED_TEST_SUITE(LockRequest, LockRequests, NumberedName);

TYPED_TEST(LockRequest, WritesGatewayAndLock) {
    constexpr auto kMin = std::numeric_limits<std::int32_t>::min();
    constexpr auto kMax = std::numeric_limits<std::int32_t>::max();
    EXPECT_EQ(TypeParam(kMin, kMax).ToJSON(), R"({"gatewayID":-2147483648,"lockID":2147483647})");
}

TYPED_TEST(LockRequest, HoldsGatewayAndLock) {
    const TypeParam payload(-1, 65535);
    EXPECT_EQ(payload.GatewayID(), -1);
    EXPECT_EQ(payload.LockID(), 65535);
}

TYPED_TEST(LockRequest, WritesAnObjectWithoutMembersWhenItIsGivenNoDocument) {
    TypeParam payload(1, 2);
    EXPECT_EQ(TextWithoutDocument(payload), "{}");
}

TEST(MuxLockRequestPayload, MakesANewObjectAtEveryCall) {
    MuxLockRequestPayload payload(1, 2);
    rapidjson::Document document;
    const std::unique_ptr<rapidjson::Value> first(payload.ToJSONObject(&document));
    const std::unique_ptr<rapidjson::Value> second(payload.ToJSONObject(&document));
    EXPECT_NE(first.get(), second.get());
    EXPECT_EQ(Json::Text(*first), R"({"gatewayID":1,"lockID":2})");
    EXPECT_EQ(Json::Text(*second), R"({"gatewayID":1,"lockID":2})");
}

TEST(MuxLockOpenCloseMessagePayload, WritesItsDurationAsANumber) {
    EXPECT_EQ(MuxLockOpenCloseMessagePayload(1, 2, 255).ToJSON(), R"({"gatewayID":1,"lockID":2,"duration":255})");
    EXPECT_EQ(MuxLockOpenCloseMessagePayload(1, 2, 0).ToJSON(), R"({"gatewayID":1,"lockID":2,"duration":0})");
}

TEST(MuxLockOpenCloseMessagePayload, HoldsItsFields) {
    const MuxLockOpenCloseMessagePayload payload(-1, 65535, 44);
    EXPECT_EQ(payload.GatewayID(), -1);
    EXPECT_EQ(payload.LockID(), 65535);
    EXPECT_EQ(payload.Duration(), 44);
}

TEST(MuxLockOpenCloseMessagePayload, WritesAnObjectWithoutMembersWhenItIsGivenNoDocument) {
    MuxLockOpenCloseMessagePayload payload(1, 2, 3);
    EXPECT_EQ(TextWithoutDocument(payload), "{}");
}

TEST(MuxWhitelistSetPayload, HoldsItsFields) {
    const MuxWhitelistSetPayload payload(-1, 2, true, 3, 4000000000U, {0xC3, 0xB2, 0xA1});
    EXPECT_EQ(payload.GatewayID(), -1);
    EXPECT_EQ(payload.LockID(), 2);
    EXPECT_TRUE(payload.IsUIDCard());
    EXPECT_EQ(payload.SetupNumber(), 3U);
    EXPECT_EQ(payload.Options(), 4000000000U);
    EXPECT_THAT(payload.CardData(), ElementsAre(0xC3, 0xB2, 0xA1));
}

TEST(MuxWhitelistSetPayload, WritesTheKeysThatItIsParsedFromWithCardDataAsHexadecimalDigits) {
    MuxWhitelistSetPayload payload(1, 2, true, 3, 4294967295U, {0xC3, 0xB2, 0x01});
    EXPECT_EQ(
        payload.ToJSON(),
        R"({"gatewayID":1,"lockID":2,"setupNumber":3,"options":4294967295,"cardData":"01B2C3","isUIDCard":true})");
}

TEST(MuxWhitelistSetPayload, WritesAnObjectWithoutMembersWhenItIsGivenNoDocument) {
    MuxWhitelistSetPayload payload(1, 2, true, 3, 4, {5});
    EXPECT_EQ(TextWithoutDocument(payload), "{}");
}

TEST(MuxConfigureMessagePayload, TakesTheValueOverAndLeavesNull) {
    auto source = ParsedJson(R"({"Data":{"Enabled":true,"Gateways":[]}})");
    MuxConfigureMessagePayload payload(std::move(source["Data"]));
    EXPECT_EQ(Json::Text(source), R"({"Data":null})");
    EXPECT_EQ(Json::Text(payload.Data()), R"({"Enabled":true,"Gateways":[]})");
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
