#include "tests/system/support/MuxSystem.h"

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>

#include "tests/support/WaitUntil.h"
#include "tests/system/support/Traffic.h"
#include "tools/gateway-simulator/Console.h"

namespace SystemTest {
namespace {

// The Mux moves its counters on only when a frame has left. A client that gets its answer before that, and asks again
// at once, would meet the old ones.
constexpr std::chrono::milliseconds kReactionTime{50};

std::string GatewayEntry(int id, std::uint16_t port) {
    std::ostringstream text;
    text << R"({"ID":)" << id << R"(,"Description":"Gateway )" << id << R"(","IpAddress":"127.0.0.1","Port":)" << port
         << R"(,"Devices":[{"Name":"Door","ID":5}]})";
    return text.str();
}

std::string Configuration(const std::string& gateways) {
    return R"({"Enabled":true,"Gateways":[)" + gateways + "]}";
}

std::unique_ptr<Simulator::GatewaySimulator> StartGateway(const GatewaySetup& setup) {
    Simulator::SimulatorOptions options;
    options.locks = setup.locks;
    options.counter = setup.counter;
    auto gateway = std::make_unique<Simulator::GatewaySimulator>(options);
    gateway->Inject(Simulator::Fault::Delay(kReactionTime).Always());
    RunCommands(*gateway, setup.commands);
    gateway->Start();
    return gateway;
}

}  // namespace

void RunCommands(Simulator::GatewaySimulator& gateway, const std::string& commands) {
    std::istringstream text(commands);
    for (std::string command; std::getline(text, command, ';');) {
        EXPECT_EQ(Execute(gateway, command), "") << command;
    }
}

SystemSetup WithGateways(const std::vector<GatewaySetup>& gateways) {
    SystemSetup setup;
    setup.gateways = gateways;
    return setup;
}

SystemSetup WithArguments(const std::vector<std::string>& arguments, SystemSetup setup) {
    setup.arguments = arguments;
    return setup;
}

std::string ConfigurationWithGateway(std::uint16_t port) {
    return Configuration(GatewayEntry(1, port));
}

MuxSystem::MuxSystem(const SystemSetup& setup) : setups_(setup.gateways) {
    std::string entries;
    for (const GatewaySetup& gateway : setups_) {
        gateways_.push_back(StartGateway(gateway));
        entries += (entries.empty() ? "" : ",") + GatewayEntry(gateway.id, gateways_.back()->Port());
    }
    const std::string configuration = Configuration(entries);
    ExpectConfiguration(configuration);
    std::vector<std::string> arguments = ListeningOn(port_, {"--configFile", folder_.Write("mux.json", configuration)});
    arguments.insert(arguments.end(), setup.arguments.begin(), setup.arguments.end());
    mux_ = std::make_unique<MuxProcess>(arguments, setup.environment, Console::kPipe, setup.descriptors);
    if (setup.waitsUntilQuiet) {
        WaitUntilQuiet();
    }
}

// An answer that is still unread when the second question is asked makes the second answer belong to nothing.
void MuxSystem::WaitUntilQuiet() const {
    const std::size_t answers = kFramesAtStart * gateways_.size();
    const auto isQuiet = [&] {
        return mux_->Count("Received new sequence number.") + mux_->Count("The message is lost") >= answers;
    };
    if (!Testing::WaitUntil(isQuiet, kDeadline)) {
        throw std::runtime_error("the gateways do not become ready:\n" + mux_->Output());
    }
}

}  // namespace SystemTest
