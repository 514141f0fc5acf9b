#include "gateway/GatewayOwner.h"

#include <gtest/gtest.h>

namespace Brenk::Messages::VG {
namespace {

TEST(VirtualGatewayEventMessage, IsEmptyWhenItIsNew) {
    const VirtualGatewayEventMessage event;
    EXPECT_EQ(event.eventType, 0);
    EXPECT_EQ(event.deviceAddress, 0);
    EXPECT_EQ(event.data, "");
    EXPECT_EQ(event.reserved, 0U);
}

TEST(VirtualGatewayEventMessage, HasTypeAddressDataAndTheReservedFieldInThisOrder) {
    const VirtualGatewayEventMessage event = {22, 65535, "04A1B2C3", 0};
    EXPECT_EQ(event.eventType, 22);
    EXPECT_EQ(event.deviceAddress, 65535);
    EXPECT_EQ(event.data, "04A1B2C3");
    EXPECT_EQ(event.reserved, 0U);
}

TEST(VirtualGatewayEventMessage, ACopyIsOfItsOwn) {
    VirtualGatewayEventMessage event = {14, 5, "a text that is not kept inline", 0};
    const VirtualGatewayEventMessage copy = event;
    event.data.clear();
    event.deviceAddress = 6;
    EXPECT_EQ(copy.data, "a text that is not kept inline");
    EXPECT_EQ(copy.deviceAddress, 5);
}

}  // namespace
}  // namespace Brenk::Messages::VG
