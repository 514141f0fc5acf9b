#include "mux/messages/MuxLockOperationResponsePayload.h"

#include <gtest/gtest.h>

#include "tests/mux/messages/PayloadText.h"

using Testing::TextWithoutDocument;

namespace Mux {
namespace {

TEST(MuxLockOperationResponsePayload, WritesSuccessAndErrorCode) {
    EXPECT_EQ(MuxLockOperationResponsePayload(true, 0).ToJSON(), R"({"Success":true,"ErrorCode":0})");
    EXPECT_EQ(MuxLockOperationResponsePayload(false, -7).ToJSON(), R"({"Success":false,"ErrorCode":-7})");
}

TEST(MuxLockOperationResponsePayload, HoldsItsFields) {
    const MuxLockOperationResponsePayload payload(true, 12);
    EXPECT_TRUE(payload.Success());
    EXPECT_EQ(payload.ErrorCode(), 12);
}

TEST(MuxLockOperationResponsePayload, WritesAnObjectWithoutMembersWhenItIsGivenNoDocument) {
    MuxLockOperationResponsePayload payload(true, 1);
    EXPECT_EQ(TextWithoutDocument(payload), "{}");
}

}  // namespace
}  // namespace Mux
