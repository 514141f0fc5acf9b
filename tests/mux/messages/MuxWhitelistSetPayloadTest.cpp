#include "mux/messages/MuxWhitelistSetPayload.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/mux/messages/PayloadText.h"

using testing::ElementsAre;
using Testing::TextWithoutDocument;

namespace Mux {
namespace {

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

}  // namespace
}  // namespace Mux
