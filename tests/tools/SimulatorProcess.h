#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/tools/ChildProcess.h"

namespace Testing {

// The gateway simulator with these options, for a ChildProcess.
std::vector<std::string> SimulatorCommand(const std::vector<std::string>& options);

// The port at the end of the line with this text, 0 when it does not come.
std::uint16_t PortBehind(ChildProcess& program, const std::string& text);

}  // namespace Testing
