#include "mux/messages/MuxCardEventPayload.h"

#include <gtest/gtest.h>

#include <memory>

#include "mux/messages/JsonTree.h"
#include "tests/mux/messages/PayloadText.h"

using Testing::TextWithoutDocument;

namespace Mux {
namespace {

TEST(MuxCardEventPayload, WritesGatewayLockTimeAndCardInThisOrder) {
    EXPECT_EQ(MuxCardEventPayload(1, 5, "9:5:3 1-2-2024", "04A1B2C3").ToJSON(),
              R"({"gatewayID":1,"lockID":5,"timestamp":"9:5:3 1-2-2024","RFIDData":"04A1B2C3"})");
}

TEST(MuxCardEventPayload, WritesTheHighestDeviceAddressAsAPositiveNumber) {
    EXPECT_EQ(MuxCardEventPayload(-1, 65535, "", "").ToJSON(),
              R"({"gatewayID":-1,"lockID":65535,"timestamp":"","RFIDData":""})");
}

TEST(MuxCardEventPayload, HoldsItsFields) {
    const MuxCardEventPayload payload(1, 5, "now", "AB");
    EXPECT_EQ(payload.GatewayID(), 1);
    EXPECT_EQ(payload.LockID(), 5);
    EXPECT_EQ(payload.Timestamp(), "now");
    EXPECT_EQ(payload.RfidData(), "AB");
}

TEST(MuxCardEventPayload, WritesTextThatOutlivesThePayload) {
    rapidjson::Document target;
    std::unique_ptr<rapidjson::Value> object;
    {
        MuxCardEventPayload payload(1, 5, "a time that is not kept inline", "card data that is not kept inline");
        object.reset(payload.ToJSONObject(&target));
    }
    EXPECT_EQ(JsonText(*object), R"({"gatewayID":1,"lockID":5,"timestamp":"a time that is not kept inline",)"
                                 R"("RFIDData":"card data that is not kept inline"})");
}

TEST(MuxCardEventPayload, WritesAnObjectWithoutMembersWhenItIsGivenNoDocument) {
    MuxCardEventPayload payload(1, 2, "t", "r");
    EXPECT_EQ(TextWithoutDocument(payload), "{}");
}

}  // namespace
}  // namespace Mux
