#include "mux/messages/MuxWhitelistEnablePayload.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "tests/mux/messages/PayloadText.h"

using Testing::TextWithoutDocument;

namespace Mux {
namespace {

TEST(MuxWhitelistEnablePayload, WritesGatewayAndLock) {
    constexpr auto kMin = std::numeric_limits<std::int32_t>::min();
    constexpr auto kMax = std::numeric_limits<std::int32_t>::max();
    EXPECT_EQ(MuxWhitelistEnablePayload(kMin, kMax).ToJSON(), R"({"gatewayID":-2147483648,"lockID":2147483647})");
}

TEST(MuxWhitelistEnablePayload, HoldsGatewayAndLock) {
    const MuxWhitelistEnablePayload payload(-1, 65535);
    EXPECT_EQ(payload.GatewayID(), -1);
    EXPECT_EQ(payload.LockID(), 65535);
}

TEST(MuxWhitelistEnablePayload, WritesAnObjectWithoutMembersWhenItIsGivenNoDocument) {
    MuxWhitelistEnablePayload payload(1, 2);
    EXPECT_EQ(TextWithoutDocument(payload), "{}");
}

}  // namespace
}  // namespace Mux
