// How the Mux keeps its gateways connected. Nothing ends the process here when a gateway cannot be reached: the error
// guard is not configured in a test program.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "diagnostics/ErrorGuard.h"
#include "mux/BrenkMux.h"
#include "mux/messages/MuxMessageBuilder.h"
#include "tests/mux/GatewayStates.h"
#include "tests/mux/LogHook.h"
#include "tests/mux/MuxWithGateway.h"
#include "tests/mux/TestMux.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/FakeGateway.h"
#include "tests/support/ReservedPort.h"

using Testing::CapturedLog;
using Testing::ConfigurationText;
using Testing::LogHook;
using Testing::TestMux;
using Testing::WireGateway;

namespace Mux {
namespace {

const char* const kTry =
    "Try to connect to gateway with ID 1 over IP 127.0.0.1, and also send a request for a SEQUENCE REFRESH.";
const char* const kCannot = "Cannot connect to gateway with ID 1 over IP 127.0.0.1";
const char* const kUnknown =
    "The selected Virtual Gateway is in UNKNOWN status. A connection request will not be send.";
const char* const kConnected = "Connected to gateway with ID 1 over IP 127.0.0.1.";

const std::vector<std::string> kLines = {kTry, kCannot, kUnknown, kConnected};

// Expects the lines of one pass of the gateways thread about connecting gateway 1.
void ExpectPass(BrenkMux& mux, const CapturedLog& log, const std::vector<std::string>& lines) {
    std::vector<std::string> expected = InOrder(log, kLines);
    expected.insert(expected.end(), lines.begin(), lines.end());
    mux.ConnectVirtualGateways();
    EXPECT_EQ(InOrder(log, kLines), expected);
}

class BrenkMuxReachable : public testing::Test {
  protected:
    BrenkMuxReachable() { mux.ParseConfiguration(ConfigurationText({gateway.Port()})); }

    WireGateway gateway;
    const CapturedLog log;
    TestMux mux;
};

TEST_F(BrenkMuxReachable, ADescriptorIsKeptForAGatewayUntilItIsConnected) {
    EXPECT_EQ(BrenkMux::DescriptorsForGateways(&mux), 1U);
    mux.ConnectVirtualGateways();
    EXPECT_EQ(BrenkMux::DescriptorsForGateways(&mux), 0U);
    mux.Gateway()->Disconnect();
    EXPECT_EQ(BrenkMux::DescriptorsForGateways(&mux), 1U);
}

TEST_F(BrenkMuxReachable, ConnectsAFreshlyCreatedGatewayWithASequenceRefreshAndThenLeavesItAlone) {
    ExpectPass(mux, log, {kTry});
    EXPECT_EQ(log.Count(plog::verbose, kTry), 1);
    EXPECT_EQ(mux.Gateway()->Status(), Brenk::CONNECTED);
    gateway.Accept();
    // A status request to address 0x100.
    EXPECT_EQ(Testing::TimelessPart(gateway.ReceiveFrame()), "13 FE FD 0E 01 00 00 00 00 01 00 01");
    ExpectPass(mux, log, {});
    EXPECT_EQ(mux.Gateway()->Status(), Brenk::CONNECTED);
}

TEST_F(BrenkMuxReachable, ConnectsTheGatewaysOfAMessageThatIsEnabled) {
    TestMux configured;
    const auto message =
        MuxMessageBuilder().ParseMessage(Testing::Request(2, "m1", ConfigurationText({gateway.Port()})));
    ASSERT_TRUE(configured.ParseConfigurationMessage(*message));
    ExpectPass(configured, log, {kTry});
    EXPECT_EQ(configured.Gateway()->Status(), Brenk::CONNECTED);
}

// The Mux hears of the disconnect, so it comes before the gateway is deleted, which tells nothing any more.
TEST_F(BrenkMuxReachable, DisconnectsAGatewayBeforeANewConfigurationDeletesIt) {
    ASSERT_TRUE(mux.Gateway()->Connect(false));
    const std::string destroying = "Destroying all gateways already configured...";
    const std::string disconnected =
        "[BrenkMux::VirtualGatewayStateChangedCallback] Gateway 1 changed state from READY to state DISCONNECTED";
    const std::string deleted = "Virtual gateway destructor called.";
    mux.ParseConfiguration("{}");
    EXPECT_EQ(InOrder(log, {deleted, disconnected, destroying}),
              (std::vector<std::string>{destroying, destroying, disconnected, deleted}));
}

TEST_F(BrenkMuxReachable, LeavesAReadyGatewayAlone) {
    ASSERT_TRUE(mux.Gateway()->Connect(false));
    ASSERT_EQ(mux.Gateway()->Status(), Brenk::READY);
    ExpectPass(mux, log, {});
}

TEST_F(BrenkMuxReachable, ReconnectsADisconnectedOrFaultedGatewayWithoutASequenceRefresh) {
    mux.ConnectVirtualGateways();
    ASSERT_TRUE(mux.Gateway()->Disconnect());
    ExpectPass(mux, log, {kUnknown, kConnected});
    EXPECT_EQ(log.Count(plog::error, kUnknown), 1);
    EXPECT_EQ(log.Count(plog::verbose, kConnected), 1);
    EXPECT_EQ(mux.Gateway()->Status(), Brenk::READY);
    Testing::MakeFaulted(*mux.Gateway());
    ASSERT_EQ(mux.Gateway()->Status(), Brenk::FAULTED);
    ExpectPass(mux, log, {kUnknown, kConnected});
    EXPECT_EQ(mux.Gateway()->Status(), Brenk::READY);
}

// The gateways of the configuration before are still there at that line, and the gateways thread goes round meanwhile.
TEST_F(BrenkMuxReachable, DoesNotConnectTheGatewaysThatAConfigurationIsAboutToSwitchOff) {
    const LogHook line("Destroying all gateways already configured...", [&] { mux.ConnectVirtualGateways(); });
    mux.ParseConfiguration("{}");
    EXPECT_EQ(line.Runs(), 1);
    ExpectPass(mux, log, {});
    EXPECT_TRUE(InOrder(log, kLines).empty());
}

// The gateway's own thread is connecting it at this moment: its status is about to change.
TEST_F(BrenkMuxReachable, LeavesAGatewayAloneThatAnotherThreadIsConnecting) {
    const auto connection = mux.Gateway()->TryLockConnection();
    ASSERT_TRUE(connection.owns_lock());
    Threading::Thread other([](void* context) -> void* {
        static_cast<BrenkMux*>(context)->ConnectVirtualGateways();
        return nullptr;
    });
    ASSERT_TRUE(other.Start(&mux));
    ASSERT_TRUE(other.Join());
    EXPECT_TRUE(InOrder(log, kLines).empty());
    EXPECT_EQ(mux.Gateway()->Status(), Brenk::CREATED);
}

class BrenkMuxUnreachable : public Testing::MuxWithGateway {
  protected:
    // How many failures were reported to the error guard since the last call.
    std::uint32_t NewReports() {
        const std::uint32_t before = reports_;
        reports_ = Diagnostics::ErrorGuard::Instance().FirstCounter();
        return reports_ - before;
    }

    std::uint32_t reports_ = Diagnostics::ErrorGuard::Instance().FirstCounter();
};

TEST_F(BrenkMuxUnreachable, ReportsAFreshlyCreatedGatewayThatCannotBeConnectedAfterItsLines) {
    std::uint32_t atTheLine = 0;
    const LogHook line(kCannot, [&] { atTheLine = NewReports(); });
    ExpectPass(mux, log, {kTry, kCannot});
    EXPECT_EQ(log.Count(plog::error, kCannot), 1);
    EXPECT_EQ(mux.Gateway()->Status(), Brenk::CREATED);
    EXPECT_EQ(atTheLine, 1U);  // the socket's own report of its failed connect
    EXPECT_EQ(NewReports(), 1U);
}

TEST_F(BrenkMuxUnreachable, LogsThatAFaultedOrDisconnectedGatewayCannotBeConnectedAndDoesNotReportIt) {
    Testing::MakeFaulted(*mux.Gateway());
    ExpectPass(mux, log, {kUnknown, kCannot});
    EXPECT_EQ(mux.Gateway()->Status(), Brenk::FAULTED);
    ASSERT_TRUE(mux.Gateway()->Disconnect());
    NewReports();
    ExpectPass(mux, log, {kUnknown, kCannot});
    EXPECT_EQ(mux.Gateway()->Status(), Brenk::DISCONNECTED);
    EXPECT_EQ(NewReports(), 1U);  // the socket's own report
}

TEST_F(BrenkMuxUnreachable, AGatewayThatIsNotPresentIsTriedNoLongerUntilANewConfiguration) {
    for (int pass = 1; pass < 20; ++pass) {
        mux.ConnectVirtualGateways();
        ASSERT_EQ(mux.Gateway()->Status(), Brenk::CREATED) << pass;
    }
    mux.ConnectVirtualGateways();
    ASSERT_EQ(mux.Gateway()->Status(), Brenk::NOT_PRESENT);
    EXPECT_EQ(log.Count(plog::error, kCannot), 20);

    NewReports();
    ExpectPass(mux, log, {kCannot});
    ExpectPass(mux, log, {kCannot});
    EXPECT_EQ(NewReports(), 0U);
    mux.ParseConfiguration(ConfigurationText({port.Number()}));
    EXPECT_EQ(mux.Gateway()->Status(), Brenk::CREATED);
}

TEST(BrenkMuxConnection, TriesEveryGatewayOnAPass) {
    const Testing::ReservedPort nobody;
    WireGateway gateway;
    const CapturedLog log;
    TestMux mux;
    mux.ParseConfiguration(ConfigurationText({nobody.Number(), gateway.Port(), nobody.Number()}));
    mux.ConnectVirtualGateways();
    EXPECT_EQ(mux.Gateway(1)->Status(), Brenk::CREATED);
    EXPECT_EQ(mux.Gateway(2)->Status(), Brenk::CONNECTED);
    EXPECT_EQ(log.Count(plog::error, "Cannot connect to gateway with ID 3 over IP 127.0.0.1"), 1);
}

}  // namespace
}  // namespace Mux
