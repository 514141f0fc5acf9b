#include "mux/GatewayRegistry.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/support/CapturedLog.h"
#include "tests/support/FakeGateway.h"

using Testing::CapturedLog;
using Testing::WireGateway;

namespace Mux {
namespace {

// The states that gateways told, with their IDs.
struct ToldStates {
    std::vector<std::pair<std::int32_t, Brenk::VirtualGatewayStatuses>> all;
};

void NoteState(Brenk::VirtualGateway* gateway, Brenk::VirtualGatewayStatuses /*before*/,
               Brenk::VirtualGatewayStatuses now, void* context) {
    static_cast<ToldStates*>(context)->all.emplace_back(gateway->ID(), now);
}

Brenk::GatewayOwner OwnerWith(ToldStates* told) {
    Brenk::GatewayOwner owner;
    owner.context = told;
    owner.stateChanged = NoteState;
    return owner;
}

Configuration::GatewayConfiguration GatewayOn(int port, std::int32_t id, const std::string& description) {
    Configuration::GatewayConfiguration gateway;
    gateway.id = id;
    gateway.description = description;
    gateway.ipAddress = "127.0.0.1";
    gateway.port = port;
    return gateway;
}

class GatewayRegistryTest : public testing::Test {
  protected:
    const CapturedLog log;
    WireGateway wire;
    ToldStates told;
    GatewayRegistry registry{OwnerWith(&told)};
};

TEST_F(GatewayRegistryTest, HasNoGatewayAndNoConfigurationAtFirst) {
    EXPECT_FALSE(registry.IsConfigured());
    EXPECT_TRUE(registry.Current()->gateways.empty());
    EXPECT_EQ(registry.CountUnconnected(), 0U);
}

TEST_F(GatewayRegistryTest, KeepsGatewaysInTheOrderOfTheConfigurationAndTheFirstOfTheSameID) {
    registry.Apply({true, {GatewayOn(wire.Port(), 7, "first"), GatewayOn(wire.Port(), 7, "second")}});
    EXPECT_TRUE(registry.IsConfigured());
    const auto current = registry.Current();
    ASSERT_EQ(current->gateways.size(), 2U);
    EXPECT_EQ(current->gateways.at(0)->Description(), "first");
    EXPECT_EQ(current->gateways.at(1)->Description(), "second");
    ASSERT_EQ(current->gatewaysByID.size(), 1U);
    EXPECT_EQ(current->gatewaysByID.at(7), current->gateways.at(0));
}

TEST_F(GatewayRegistryTest, MakesNoGatewayForAConfigurationThatIsNotEnabled) {
    registry.Apply({false, {GatewayOn(wire.Port(), 1, "")}});
    EXPECT_TRUE(registry.IsConfigured());
    EXPECT_TRUE(registry.Current()->gateways.empty());
    EXPECT_EQ(log.Count(plog::warning, "Mux is not enabled."), 1);
}

TEST_F(GatewayRegistryTest, ConnectsOnlyWhenItIsEnabled) {
    registry.Apply({true, {GatewayOn(wire.Port(), 1, "")}});
    registry.ConnectAll();
    EXPECT_EQ(registry.CountUnconnected(), 1U);
    EXPECT_TRUE(told.all.empty());
    registry.Enable(true);
    registry.ConnectAll();
    EXPECT_EQ(registry.CountUnconnected(), 0U);
    ASSERT_EQ(told.all.size(), 1U);
    EXPECT_EQ(told.all.front(), std::make_pair(1, Brenk::CONNECTED));
}

TEST_F(GatewayRegistryTest, DisconnectsWhatAnotherConfigurationReplaces) {
    registry.Apply({true, {GatewayOn(wire.Port(), 1, "")}});
    registry.Enable(true);
    registry.ConnectAll();
    const auto before = registry.Current();
    registry.Apply({true, {GatewayOn(wire.Port(), 2, "")}});
    EXPECT_EQ(before->gateways.front()->Status(), Brenk::DISCONNECTED);
    ASSERT_EQ(registry.Current()->gateways.size(), 1U);
    EXPECT_EQ(registry.Current()->gateways.front()->ID(), 2);
    registry.Clear();
    EXPECT_TRUE(registry.Current()->gateways.empty());
    EXPECT_EQ(before->gateways.size(), 1U);
}

}  // namespace
}  // namespace Mux
