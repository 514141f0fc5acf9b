// What the Mux does when a gateway tells it that its state has changed.

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <string>
#include <vector>

#include "mux/BrenkMux.h"
#include "tests/mux/LogHook.h"
#include "tests/mux/MuxWithGateway.h"
#include "tests/mux/TestMux.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/FakeGateway.h"

using Brenk::VirtualGateway;
using Brenk::VirtualGatewayStatuses;
using Testing::CapturedLog;
using Testing::ConfigurationText;
using Testing::LogHook;
using Testing::MuxWithGateway;
using Testing::TestMux;
using Testing::WireGateway;

namespace Mux {
namespace {

struct StateName {
    VirtualGatewayStatuses status;
    const char* name;
};

constexpr StateName kStates[] = {
    {Brenk::UNKNOWN, "UNKNOWN"}, {Brenk::CREATED, "1"},       {Brenk::CONNECTED, "CONNECTED"},
    {Brenk::READY, "READY"},     {Brenk::FAULTED, "FAULTED"}, {Brenk::DISCONNECTED, "DISCONNECTED"},
    {Brenk::NOT_PRESENT, "6"},
};

std::string ChangeLine(const std::string& from, const std::string& to) {
    return "[BrenkMux::VirtualGatewayStateChangedCallback] Gateway 1 changed state from " + from + " to state " + to;
}

class BrenkMuxStateChange : public MuxWithGateway {
  protected:
    void Tell(VirtualGatewayStatuses from, VirtualGatewayStatuses to) {
        BrenkMux::VirtualGatewayStateChangedCallback(mux.Gateway(), from, to, &mux);
    }
};

TEST_F(BrenkMuxStateChange, NamesEveryPairOfStates) {
    for (const StateName& from : kStates) {
        for (const StateName& to : kStates) {
            Tell(from.status, to.status);
            EXPECT_EQ(log.Count(plog::info, ChangeLine(from.name, to.name)), 1) << from.name << ' ' << to.name;
        }
    }
}

TEST_F(BrenkMuxStateChange, SaysThatAGatewayIsConnected) {
    Tell(Brenk::CREATED, Brenk::CONNECTED);
    EXPECT_EQ(log.Count(plog::info, "VG connected."), 1);
}

TEST_F(BrenkMuxStateChange, SaysNothingFurtherOfReadyAndDisconnected) {
    Tell(Brenk::CONNECTED, Brenk::READY);
    Tell(Brenk::READY, Brenk::DISCONNECTED);
    EXPECT_FALSE(log.Holds(plog::info, "VG connected."));
    EXPECT_FALSE(log.Holds(plog::warning, "Try to reconnect VG"));
    EXPECT_FALSE(log.Holds(plog::verbose, "Virtual gateway switched to an unsupported status."));
}

TEST_F(BrenkMuxStateChange, CallsTheStatesOutsideConnectedToFaultedUnsupported) {
    int expected = 0;
    for (const VirtualGatewayStatuses status : {Brenk::UNKNOWN, Brenk::CREATED, Brenk::NOT_PRESENT}) {
        Tell(Brenk::READY, status);
        EXPECT_EQ(log.Count(plog::verbose, "Virtual gateway switched to an unsupported status."), ++expected) << status;
    }
}

TEST_F(BrenkMuxStateChange, IgnoresAMissingContextAndAMissingGateway) {
    const std::size_t before = log.Lines().size();
    BrenkMux::VirtualGatewayStateChangedCallback(mux.Gateway(), Brenk::CREATED, Brenk::CONNECTED, nullptr);
    BrenkMux::VirtualGatewayStateChangedCallback(nullptr, Brenk::CREATED, Brenk::CONNECTED, &mux);
    EXPECT_FALSE(log.Holds(plog::info, "changed state from"));
    EXPECT_GE(log.Lines().size(), before);
}

TEST_F(BrenkMuxStateChange, GoesOnWhenTheLogFails) {
    const LogHook fault("changed state from", [] { throw std::runtime_error("disk full"); });
    Tell(Brenk::CREATED, Brenk::CONNECTED);
    ASSERT_EQ(fault.Runs(), 1);
    EXPECT_EQ(log.Count(plog::error, "Error in logging."), 1);
    EXPECT_EQ(log.Count(plog::info, "VG connected."), 1);
}

TEST_F(BrenkMuxStateChange, TriesToReconnectAFaultedGatewayThatCannotBeReached) {
    VirtualGateway::SocketSendError(EPIPE, mux.Gateway());
    EXPECT_EQ(InOrder(log, {ChangeLine("1", "FAULTED"), "Try to reconnect VG", ChangeLine("FAULTED", "DISCONNECTED")}),
              (std::vector<std::string>{ChangeLine("1", "FAULTED"), "Try to reconnect VG",
                                        ChangeLine("FAULTED", "DISCONNECTED")}));
    EXPECT_EQ(mux.Gateway()->Status(), Brenk::DISCONNECTED);
}

TEST(BrenkMuxFaultedGateway, IsDisconnectedAndReconnectedAtOnceWithoutASequenceRefresh) {
    WireGateway gateway;
    const CapturedLog log;
    TestMux mux;
    mux.ParseConfiguration(ConfigurationText({gateway.Port()}));
    ASSERT_TRUE(mux.Gateway()->Connect(false));
    gateway.Accept();

    VirtualGateway::SocketSendError(EPIPE, mux.Gateway());
    EXPECT_EQ(mux.Gateway()->Status(), Brenk::READY);
    EXPECT_EQ(log.Count(plog::warning, "Try to reconnect VG"), 1);
    EXPECT_EQ(InOrder(log, {ChangeLine("DISCONNECTED", "READY"), ChangeLine("FAULTED", "DISCONNECTED"),
                            ChangeLine("READY", "FAULTED"), ChangeLine("1", "READY")}),
              (std::vector<std::string>{ChangeLine("1", "READY"), ChangeLine("READY", "FAULTED"),
                                        ChangeLine("FAULTED", "DISCONNECTED"), ChangeLine("DISCONNECTED", "READY")}));
    gateway.Accept();  // the new connection
    // The gateway's keep-alive may have asked for a refresh meanwhile, the reconnect has not.
    const std::string keepAlive = "Enquequing keep alive Get status.";
    const std::string refresh = "Refreshing sequence couter.";
    const std::vector<std::string> asked = InOrder(log, {keepAlive, refresh});
    EXPECT_LE(std::count(asked.begin(), asked.end(), refresh), std::count(asked.begin(), asked.end(), keepAlive));
}

}  // namespace
}  // namespace Mux
