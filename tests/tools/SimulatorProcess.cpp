#include "tests/tools/SimulatorProcess.h"

#include <gtest/gtest.h>

namespace Testing {

std::vector<std::string> SimulatorCommand(const std::vector<std::string>& options) {
    std::vector<std::string> command = {GATEWAY_SIMULATOR_PATH};
    command.insert(command.end(), options.begin(), options.end());
    return command;
}

std::uint16_t PortBehind(ChildProcess& program, const std::string& text) {
    const std::string port = program.WaitForLineWith(text);
    EXPECT_NE(port, "") << program.Output();
    return port.empty() ? std::uint16_t{0} : static_cast<std::uint16_t>(std::stoul(port));
}

}  // namespace Testing
