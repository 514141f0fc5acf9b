// What the Mux does when a gateway tells it that its state has changed.

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <string>
#include <vector>

#include "mux/BrenkMux.h"
#include "tests/mux/LogHook.h"
#include "tests/mux/MuxLog.h"
#include "tests/mux/MuxWithGateway.h"
#include "tests/mux/TestMux.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/FakeGateway.h"

using Brenk::VirtualGateway;
using Brenk::VirtualGatewayStatuses;
using Testing::LogHook;
using Testing::MuxLog;
using Testing::Steps;

namespace Mux {
namespace {

struct StateRow {
    VirtualGatewayStatuses status;
    const char* name;
    Steps further;  // the lines that follow when a gateway enters it
};

const Steps kUnsupported = {{plog::verbose, "Virtual gateway switched to an unsupported status."}};

const StateRow kStates[] = {
    {Brenk::UNKNOWN, "UNKNOWN", kUnsupported},
    {Brenk::CREATED, "1", kUnsupported},
    {Brenk::CONNECTED, "CONNECTED", {{plog::info, "VG connected."}}},
    {Brenk::READY, "READY", {}},
    {Brenk::DISCONNECTED, "DISCONNECTED", {}},
    {Brenk::NOT_PRESENT, "6", kUnsupported},
};

std::string ChangeLine(const std::string& from, const std::string& to) {
    return "[BrenkMux::VirtualGatewayStateChangedCallback] Gateway 1 changed state from " + from + " to state " + to;
}

Steps Changed(const std::string& from, const std::string& to) {
    return {{plog::info, ChangeLine(from, to)}};
}

class BrenkMuxStateChange : public Testing::MuxWithGateway {
  protected:
    void Tell(VirtualGatewayStatuses from, VirtualGatewayStatuses to) {
        BrenkMux::VirtualGatewayStateChangedCallback(mux.Gateway(), from, to, &mux);
    }
};

TEST_F(BrenkMuxStateChange, NamesEveryPairOfStates) {
    for (const StateRow& from : kStates) {
        for (const StateRow& to : kStates) {
            const MuxLog muxLog(log);
            Tell(from.status, to.status);
            muxLog.Expect(Changed(from.name, to.name) + to.further);
        }
    }
}

TEST_F(BrenkMuxStateChange, IgnoresAMissingContextAndAMissingGateway) {
    const MuxLog muxLog(log);
    BrenkMux::VirtualGatewayStateChangedCallback(mux.Gateway(), Brenk::CREATED, Brenk::CONNECTED, nullptr);
    BrenkMux::VirtualGatewayStateChangedCallback(nullptr, Brenk::CREATED, Brenk::CONNECTED, &mux);
    muxLog.Expect({});
}

TEST_F(BrenkMuxStateChange, GoesOnWhenTheLogFails) {
    const LogHook fault("changed state from", [] { throw std::runtime_error("disk full"); });
    Tell(Brenk::CREATED, Brenk::CONNECTED);
    ASSERT_EQ(fault.Runs(), 1);
    EXPECT_EQ(log.Count(plog::error, "Error in logging."), 1);
    EXPECT_EQ(log.Count(plog::info, "VG connected."), 1);
}

TEST_F(BrenkMuxStateChange, TriesToReconnectAFaultedGatewayThatCannotBeReached) {
    const MuxLog muxLog(log);
    VirtualGateway::SocketSendError(EPIPE, mux.Gateway());
    muxLog.Expect(Changed("1", "FAULTED") + Steps{{plog::warning, "Try to reconnect VG"}} +
                  Changed("FAULTED", "DISCONNECTED"));
    EXPECT_EQ(mux.Gateway()->Status(), Brenk::DISCONNECTED);
}

TEST(BrenkMuxFaultedGateway, IsDisconnectedAndReconnectedAtOnceWithoutASequenceRefresh) {
    Testing::WireGateway gateway;
    const Testing::CapturedLog log;
    Testing::TestMux mux;
    mux.ParseConfiguration(Testing::ConfigurationText({gateway.Port()}));
    ASSERT_TRUE(mux.Gateway()->Connect(false));
    gateway.Accept();

    VirtualGateway::SocketSendError(EPIPE, mux.Gateway());
    EXPECT_EQ(mux.Gateway()->Status(), Brenk::READY);
    Testing::ExpectInOrder(log, {ChangeLine("1", "READY"), ChangeLine("READY", "FAULTED"), "Try to reconnect VG",
                                 ChangeLine("FAULTED", "DISCONNECTED"), ChangeLine("DISCONNECTED", "READY")});
    gateway.Accept();  // the new connection
    // The gateway's keep-alive may have asked for a refresh meanwhile, the reconnect has not.
    const std::string keepAlive = "Enquequing keep alive Get status.";
    const std::string refresh = "Refreshing sequence couter.";
    const std::vector<std::string> asked = InOrder(log, {keepAlive, refresh});
    EXPECT_LE(std::count(asked.begin(), asked.end(), refresh), std::count(asked.begin(), asked.end(), keepAlive));
}

}  // namespace
}  // namespace Mux
