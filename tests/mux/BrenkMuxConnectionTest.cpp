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
using Testing::MuxWithGateway;
using Testing::ReservedPort;
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

// What one pass of the gateways thread logs about connecting gateway 1.
std::vector<std::string> LinesOfOnePass(BrenkMux& mux, const CapturedLog& log) {
    const std::size_t before = InOrder(log, kLines).size();
    mux.ConnectVirtualGateways();
    const std::vector<std::string> all = InOrder(log, kLines);
    return {all.begin() + static_cast<std::ptrdiff_t>(before), all.end()};
}

using Lines = std::vector<std::string>;

class BrenkMuxReachable : public testing::Test {
  protected:
    BrenkMuxReachable() { mux.ParseConfiguration(ConfigurationText({gateway.Port()})); }

    WireGateway gateway;
    const CapturedLog log;
    TestMux mux;
};

class BrenkMuxUnreachable : public MuxWithGateway {};

TEST_F(BrenkMuxReachable, ADescriptorIsKeptForAGatewayUntilItIsConnected) {
    EXPECT_EQ(BrenkMux::DescriptorsForGateways(&mux), 1U);
    mux.ConnectVirtualGateways();
    EXPECT_EQ(BrenkMux::DescriptorsForGateways(&mux), 0U);
    mux.Gateway()->Disconnect();
    EXPECT_EQ(BrenkMux::DescriptorsForGateways(&mux), 1U);
}

TEST_F(BrenkMuxReachable, ConnectsAFreshlyCreatedGatewayWithASequenceRefresh) {
    EXPECT_EQ(LinesOfOnePass(mux, log), (Lines{kTry}));
    EXPECT_EQ(log.Count(plog::verbose, kTry), 1);
    EXPECT_EQ(mux.Gateway()->Status(), Brenk::CONNECTED);
    gateway.Accept();
    // A status request to address 0x100.
    EXPECT_EQ(Testing::TimelessPart(gateway.ReceiveFrame()), "13 FE FD 0E 01 00 00 00 00 01 00 01");
}

TEST_F(BrenkMuxReachable, ConnectsTheGatewaysOfAMessageThatIsEnabled) {
    TestMux configured;
    const auto message =
        MuxMessageBuilder().ParseMessage(Testing::Request(2, "m1", ConfigurationText({gateway.Port()})));
    ASSERT_TRUE(configured.ParseConfigurationMessage(*message));
    EXPECT_EQ(LinesOfOnePass(configured, log), (Lines{kTry}));
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
              (Lines{destroying, destroying, disconnected, deleted}));
}

TEST_F(BrenkMuxReachable, LeavesAConnectedGatewayAlone) {
    mux.ConnectVirtualGateways();
    ASSERT_EQ(mux.Gateway()->Status(), Brenk::CONNECTED);
    EXPECT_EQ(LinesOfOnePass(mux, log), Lines{});
    EXPECT_EQ(mux.Gateway()->Status(), Brenk::CONNECTED);
}

TEST_F(BrenkMuxReachable, LeavesAReadyGatewayAlone) {
    ASSERT_TRUE(mux.Gateway()->Connect(false));
    ASSERT_EQ(mux.Gateway()->Status(), Brenk::READY);
    EXPECT_EQ(LinesOfOnePass(mux, log), Lines{});
}

TEST_F(BrenkMuxReachable, ReconnectsADisconnectedGatewayWithoutASequenceRefresh) {
    mux.ConnectVirtualGateways();
    ASSERT_TRUE(mux.Gateway()->Disconnect());
    EXPECT_EQ(LinesOfOnePass(mux, log), (Lines{kUnknown, kConnected}));
    EXPECT_EQ(log.Count(plog::error, kUnknown), 1);
    EXPECT_EQ(log.Count(plog::verbose, kConnected), 1);
    EXPECT_EQ(mux.Gateway()->Status(), Brenk::READY);
}

TEST_F(BrenkMuxReachable, ReconnectsAFaultedGatewayWithoutASequenceRefresh) {
    Testing::MakeFaulted(*mux.Gateway());
    ASSERT_EQ(mux.Gateway()->Status(), Brenk::FAULTED);
    EXPECT_EQ(LinesOfOnePass(mux, log), (Lines{kUnknown, kConnected}));
    EXPECT_EQ(mux.Gateway()->Status(), Brenk::READY);
}

TEST_F(BrenkMuxReachable, DoesNotConnectAnythingWhileTheMuxIsNotEnabled) {
    TestMux disabled;
    disabled.ParseConfiguration("{}");
    EXPECT_EQ(LinesOfOnePass(disabled, log), Lines{});
}

// The gateways of the configuration before are still there at that line, and the gateways thread goes round meanwhile.
TEST_F(BrenkMuxReachable, DoesNotConnectTheGatewaysThatAConfigurationIsAboutToSwitchOff) {
    const LogHook line("Destroying all gateways already configured...", [&] { mux.ConnectVirtualGateways(); });
    mux.ParseConfiguration("{}");
    EXPECT_EQ(line.Runs(), 1);
    EXPECT_EQ(InOrder(log, kLines), Lines{});
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
    EXPECT_EQ(InOrder(log, kLines), Lines{});
    EXPECT_EQ(mux.Gateway()->Status(), Brenk::CREATED);
}

TEST_F(BrenkMuxUnreachable, LogsThatAFreshlyCreatedGatewayCannotBeConnected) {
    EXPECT_EQ(LinesOfOnePass(mux, log), (Lines{kTry, kCannot}));
    EXPECT_EQ(log.Count(plog::error, kCannot), 1);
    EXPECT_EQ(mux.Gateway()->Status(), Brenk::CREATED);
}

TEST_F(BrenkMuxUnreachable, ReportsToTheErrorGuardAfterTheLinesOfAFreshlyCreatedGateway) {
    Diagnostics::ErrorGuard& guard = Diagnostics::ErrorGuard::Instance();
    const std::uint32_t before = guard.FirstCounter();
    std::uint32_t atTheLine = 0;
    const LogHook line(kCannot, [&] { atTheLine = guard.FirstCounter(); });
    mux.ConnectVirtualGateways();
    ASSERT_EQ(line.Runs(), 1);
    // The socket has reported its failed connect before, the Mux reports after its line.
    EXPECT_EQ(atTheLine, before + 1);
    EXPECT_EQ(guard.FirstCounter(), before + 2);
}

TEST_F(BrenkMuxUnreachable, DoesNotReportADisconnectedGatewayThatCannotBeConnected) {
    Testing::MakeFaulted(*mux.Gateway());
    ASSERT_TRUE(mux.Gateway()->Disconnect());
    const std::uint32_t before = Diagnostics::ErrorGuard::Instance().FirstCounter();
    mux.ConnectVirtualGateways();
    EXPECT_EQ(Diagnostics::ErrorGuard::Instance().FirstCounter(), before + 1);  // the socket's own report
}

TEST_F(BrenkMuxUnreachable, LogsThatADisconnectedGatewayCannotBeConnected) {
    Testing::MakeFaulted(*mux.Gateway());
    ASSERT_TRUE(mux.Gateway()->Disconnect());
    ASSERT_EQ(mux.Gateway()->Status(), Brenk::DISCONNECTED);
    EXPECT_EQ(LinesOfOnePass(mux, log), (Lines{kUnknown, kCannot}));
    EXPECT_EQ(mux.Gateway()->Status(), Brenk::DISCONNECTED);
}

TEST_F(BrenkMuxUnreachable, LogsThatAFaultedGatewayCannotBeConnected) {
    Testing::MakeFaulted(*mux.Gateway());
    EXPECT_EQ(LinesOfOnePass(mux, log), (Lines{kUnknown, kCannot}));
    EXPECT_EQ(mux.Gateway()->Status(), Brenk::FAULTED);
}

TEST_F(BrenkMuxUnreachable, AGatewayThatIsNotPresentIsNoLongerTriedAndHasItsLineOnEveryPass) {
    for (int pass = 1; pass < 20; ++pass) {
        mux.ConnectVirtualGateways();
        ASSERT_EQ(mux.Gateway()->Status(), Brenk::CREATED) << pass;
    }
    mux.ConnectVirtualGateways();
    ASSERT_EQ(mux.Gateway()->Status(), Brenk::NOT_PRESENT);
    EXPECT_EQ(log.Count(plog::error, kCannot), 20);

    const std::uint32_t before = Diagnostics::ErrorGuard::Instance().FirstCounter();
    EXPECT_EQ(LinesOfOnePass(mux, log), (Lines{kCannot}));
    EXPECT_EQ(LinesOfOnePass(mux, log), (Lines{kCannot}));
    EXPECT_EQ(Diagnostics::ErrorGuard::Instance().FirstCounter(), before);
}

TEST_F(BrenkMuxUnreachable, ANewConfigurationGivesAGatewayThatIsNotPresentAnotherChance) {
    for (int pass = 0; pass < 20; ++pass) {
        mux.ConnectVirtualGateways();
    }
    ASSERT_EQ(mux.Gateway()->Status(), Brenk::NOT_PRESENT);
    mux.ParseConfiguration(ConfigurationText({port.Number()}));
    EXPECT_EQ(mux.Gateway()->Status(), Brenk::CREATED);
}

TEST(BrenkMuxConnection, TriesEveryGatewayOnAPass) {
    const ReservedPort nobody;
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
