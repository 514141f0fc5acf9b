#include "mux/messages/MuxLockOpenCloseMessagePayload.h"

#include <gtest/gtest.h>

#include "tests/mux/messages/PayloadText.h"

using Testing::TextWithoutDocument;

namespace Mux {
namespace {

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

}  // namespace
}  // namespace Mux
