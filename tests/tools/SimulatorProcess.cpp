#include "tests/tools/SimulatorProcess.h"

#include <gtest/gtest.h>

namespace Testing {
namespace {

std::vector<std::string> CommandWith(const std::vector<std::string>& options) {
    std::vector<std::string> command = {GATEWAY_SIMULATOR_PATH};
    command.insert(command.end(), options.begin(), options.end());
    return command;
}

ProcessSetup WithInputAndOneOutput() {
    ProcessSetup setup;
    setup.input = std::nullopt;
    setup.mergesError = true;
    return setup;
}

}  // namespace

SimulatorProcess::SimulatorProcess(const std::vector<std::string>& options)
    : Process(CommandWith(options), WithInputAndOneOutput()) {}

std::uint16_t SimulatorProcess::PortBehind(const std::string& text) const {
    const std::string port = WaitForLineWith(text);
    EXPECT_NE(port, "") << Output();
    return port.empty() ? std::uint16_t{0} : static_cast<std::uint16_t>(std::stoul(port));
}

}  // namespace Testing
