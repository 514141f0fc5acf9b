#include "mux/messages/MuxLockRequestPayload.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <memory>

#include "mux/messages/JsonTree.h"
#include "tests/mux/messages/PayloadText.h"

using Testing::TextWithoutDocument;

namespace Mux {
namespace {

TEST(MuxLockRequestPayload, WritesGatewayAndLock) {
    constexpr auto kMin = std::numeric_limits<std::int32_t>::min();
    constexpr auto kMax = std::numeric_limits<std::int32_t>::max();
    EXPECT_EQ(MuxLockRequestPayload(kMin, kMax).ToJSON(), R"({"gatewayID":-2147483648,"lockID":2147483647})");
}

TEST(MuxLockRequestPayload, HoldsGatewayAndLock) {
    const MuxLockRequestPayload payload(-1, 65535);
    EXPECT_EQ(payload.GatewayID(), -1);
    EXPECT_EQ(payload.LockID(), 65535);
}

TEST(MuxLockRequestPayload, WritesAnObjectWithoutMembersWhenItIsGivenNoDocument) {
    MuxLockRequestPayload payload(1, 2);
    EXPECT_EQ(TextWithoutDocument(payload), "{}");
}

TEST(MuxLockRequestPayload, MakesANewObjectAtEveryCall) {
    MuxLockRequestPayload payload(1, 2);
    rapidjson::Document document;
    const std::unique_ptr<rapidjson::Value> first(payload.ToJSONObject(&document));
    const std::unique_ptr<rapidjson::Value> second(payload.ToJSONObject(&document));
    EXPECT_NE(first.get(), second.get());
    EXPECT_EQ(JsonText(*first), R"({"gatewayID":1,"lockID":2})");
    EXPECT_EQ(JsonText(*second), R"({"gatewayID":1,"lockID":2})");
}

}  // namespace
}  // namespace Mux
