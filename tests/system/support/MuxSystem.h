#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/ReservedPort.h"
#include "tests/system/support/MuxProcess.h"
#include "tests/system/support/TestClient.h"
#include "tools/gateway-simulator/GatewaySimulator.h"

namespace SystemTest {

// A gateway in the configuration, and what its simulator begins with.
struct GatewaySetup {
    int id = 1;
    std::vector<std::uint32_t> locks = {5};
    // The first request after the gateway became READY has the next one.
    std::uint32_t counter = 1000;
    // Console commands of the simulator, with semicolons between them, run before the Mux starts.
    std::string commands = {};
};

struct SystemSetup {
    std::vector<GatewaySetup> gateways = {GatewaySetup{}};
    // Further arguments of the Mux.
    std::vector<std::string> arguments = {"--debug"};
    MuxProcess::Environment environment = {};
    // For a gateway that does not answer at the start.
    bool waitsUntilQuiet = true;
    MuxProcess::Descriptors descriptors = {};
};

SystemSetup WithGateways(const std::vector<GatewaySetup>& gateways);
SystemSetup WithArguments(const std::vector<std::string>& arguments, SystemSetup setup = {});

// Everything there is in the field, on one machine: gateways, a configuration file that names them, and the Mux with
// its clients' port.
//
// After construction every gateway is READY and quiet: the Mux asks a new gateway twice for its sequence counter, and
// a request that is built meanwhile would bear the same reference ID and counter as these. The next such question
// comes 27 seconds after the first, so a system should not be used for longer than about 25.
class MuxSystem {
  public:
    // How many frames every gateway has received by then.
    static constexpr std::size_t kFramesAtStart = 2;

    explicit MuxSystem(const SystemSetup& setup = {});

    MuxProcess& Mux() { return *mux_; }
    const MuxProcess& Mux() const { return *mux_; }
    std::uint16_t Port() const { return port_.Number(); }
    TestClient NewClient(TestClient::Buffers buffers = TestClient::Buffers::kUsual) const {
        return TestClient(port_.Number(), buffers);
    }

    std::size_t GatewayCount() const { return gateways_.size(); }
    Simulator::GatewaySimulator& Gateway(std::size_t index = 0) { return *gateways_.at(index); }
    const GatewaySetup& SetupOf(std::size_t index) const { return setups_.at(index); }

  private:
    void WaitUntilQuiet() const;

    std::vector<GatewaySetup> setups_;
    std::vector<std::unique_ptr<Simulator::GatewaySimulator>> gateways_;
    Testing::ReservedPort port_;
    Testing::TemporaryFolder folder_;
    std::unique_ptr<MuxProcess> mux_;
};

// Runs console commands with semicolons between them; a wrong one is a failure.
void RunCommands(Simulator::GatewaySimulator& gateway, const std::string& commands);

// The text of a configuration file with one gateway of ID 1 at 127.0.0.1.
std::string ConfigurationWithGateway(std::uint16_t port);

}  // namespace SystemTest
