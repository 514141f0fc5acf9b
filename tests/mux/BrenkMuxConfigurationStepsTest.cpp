// What the Mux logs of a configuration and of its gateways' states: every line with its severity, in its order, and no
// other line.

#include <gtest/gtest.h>

#include <cerrno>
#include <fstream>
#include <string>

#include "mux/BrenkMux.h"
#include "mux/messages/MuxMessageBuilder.h"
#include "tests/mux/MuxLog.h"
#include "tests/mux/MuxWithGateway.h"
#include "tests/mux/TestMux.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/ReservedPort.h"
#include "tests/support/TemporaryFolder.h"

using plog::debug;
using plog::error;
using plog::info;
using plog::verbose;
using plog::warning;
using Testing::CapturedLog;
using Testing::ConfigurationText;
using Testing::MuxLog;
using Testing::MuxWithGateway;
using Testing::Request;
using Testing::ReservedPort;
using Testing::Step;
using Testing::Steps;
using Testing::TestMux;

namespace Mux {
namespace {

class BrenkMuxConfigurationSteps : public testing::Test {
  protected:
    const ReservedPort port;
    const Testing::TemporaryFolder directory;
    const CapturedLog log;
    TestMux mux;

    std::string WriteFile(const std::string& content) const {
        std::string path = directory.Path() / "gateways.json";
        std::ofstream(path) << content;
        return path;
    }

    Steps Summary() const {
        return {{debug,
                 "Parsed configuration data from JSON.\nCurrent MUX is enabled.\n"
                 "Configuration contains data for 1 gateways.\nGateway[0]\nID: 1\nDescription: Hall\n"
                 "IpAddress: 127.0.0.1\nPort: " +
                     std::to_string(port.Number()) + "\nThe gateway have 0 nodes attached.\n"}};
    }
};

const Steps kActivated = {{verbose, "Destroying all gateways already configured..."},
                          {info, "Start configure gateways."},
                          {info, "Virtual gateways initialized."}};

TEST_F(BrenkMuxConfigurationSteps, AreLoggedOfAFile) {
    const std::string path = WriteFile(ConfigurationText({port.Number()}));
    const MuxLog muxLog(log);
    mux.ParseConfigurationFile(path);
    muxLog.Expect(
        Steps{{info, "Reading configuration JSON data from file " + path}, {info, "Parsing configuration JSON..."}} +
        Summary() + Steps{{info, "JSON Configuration parsed. Activating new configuration."}} + kActivated);
}

TEST_F(BrenkMuxConfigurationSteps, AreLoggedOfAMessage) {
    const auto message = MuxMessageBuilder().ParseMessage(Request(2, "m1", ConfigurationText({port.Number()})));
    const MuxLog muxLog(log);
    mux.ParseConfigurationMessage(*message);
    muxLog.Expect(Steps{{info, "Trying to parse a configuration message that arrived from client."}} + Summary() +
                  Steps{{info, "Received message configuration parsed. Activating new configuration."}} + kActivated);
}

TEST_F(BrenkMuxConfigurationSteps, AreLoggedOfOneThatIsNotEnabled) {
    const MuxLog muxLog(log);
    mux.ParseConfiguration(R"({"Enabled":false,"Gateways":[]})");
    muxLog.Expect({{info, "Parsing configuration JSON..."},
                   {debug,
                    "Parsed configuration data from JSON.\nCurrent MUX is not enabled.\n"
                    "Configuration contains data for 0 gateways.\n"},
                   {info, "JSON Configuration parsed. Activating new configuration."},
                   {verbose, "Destroying all gateways already configured..."},
                   {warning, "Mux is not enabled."}});
}

TEST_F(BrenkMuxConfigurationSteps, AreLoggedOfOneWithoutGateways) {
    const MuxLog muxLog(log);
    mux.ParseConfiguration(R"({"Enabled":true})");
    muxLog.Expect({{info, "Parsing configuration JSON..."},
                   {debug,
                    "Parsed configuration data from JSON.\nCurrent MUX is enabled.\n"
                    "Configuration contains data for 0 gateways.\n"},
                   {info, "JSON Configuration parsed. Activating new configuration."},
                   {verbose, "Destroying all gateways already configured..."},
                   {info, "Start configure gateways."}});
}

TEST_F(BrenkMuxConfigurationSteps, AreLoggedOfAFileThatIsNoJson) {
    const std::string path = WriteFile("{");
    const MuxLog muxLog(log);
    mux.ParseConfigurationFile(path);
    muxLog.Expect({{info, "Reading configuration JSON data from file " + path},
                   {info, "Parsing configuration JSON..."},
                   {error, "Cannot parse JSON configuration. Invalid data."}});
}

TEST_F(BrenkMuxConfigurationSteps, AreLoggedOfAFileThatIsMissing) {
    const std::string path = directory.Path() / "missing.json";
    const MuxLog muxLog(log);
    mux.ParseConfigurationFile(path);
    muxLog.Expect({{info, "Reading configuration JSON data from file " + path},
                   {error, "Cannot read configuration JSON data from file " + path}});
}

TEST_F(BrenkMuxConfigurationSteps, AreLoggedOfAMessageThatHasNone) {
    const auto message = MuxMessageBuilder().ParseMessage(Request(2));
    const MuxLog muxLog(log);
    mux.ParseConfigurationMessage(*message);
    muxLog.Expect({{info, "Trying to parse a configuration message that arrived from client."},
                   {error, "Cannot parse configuration message data. Invalid data."}});
}

class BrenkMuxStateSteps : public MuxWithGateway {
  protected:
    void ExpectSteps(Brenk::VirtualGatewayStatuses to, const std::string& name, const Steps& further) {
        const MuxLog muxLog(log);
        BrenkMux::VirtualGatewayStateChangedCallback(mux.Gateway(), Brenk::READY, to, &mux);
        muxLog.Expect(Changed("READY", name) + further);
    }

    static Steps Changed(const std::string& from, const std::string& to) {
        return {{info, "[BrenkMux::VirtualGatewayStateChangedCallback] Gateway 1 changed state from " + from +
                           " to state " + to}};
    }
};

TEST_F(BrenkMuxStateSteps, AreLoggedOfEveryStateThatAGatewayEnters) {
    const Steps unsupported = {{verbose, "Virtual gateway switched to an unsupported status."}};
    ExpectSteps(Brenk::UNKNOWN, "UNKNOWN", unsupported);
    ExpectSteps(Brenk::CREATED, "1", unsupported);
    ExpectSteps(Brenk::CONNECTED, "CONNECTED", {{info, "VG connected."}});
    ExpectSteps(Brenk::READY, "READY", {});
    ExpectSteps(Brenk::DISCONNECTED, "DISCONNECTED", {});
    ExpectSteps(Brenk::NOT_PRESENT, "6", unsupported);
}

TEST_F(BrenkMuxStateSteps, AreLoggedOfAFaultAndTheReconnectThatFollows) {
    const MuxLog muxLog(log);
    Brenk::VirtualGateway::SocketSendError(EPIPE, mux.Gateway());
    muxLog.Expect(Changed("1", "FAULTED") + Steps{{warning, "Try to reconnect VG"}} +
                  Changed("FAULTED", "DISCONNECTED"));
}

}  // namespace
}  // namespace Mux
