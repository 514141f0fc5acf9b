#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "tools/gateway-simulator/GatewaySimulator.h"

namespace Simulator {

struct CommandOutcome {
    // What is wrong, empty when nothing is.
    std::string error;
    // What the command has to say; may hold several lines.
    std::string output;
};

// A command line that was read and is ready to run; it returns what it has to say and throws CommandError when the
// gateway is not in a state for it.
using Action = std::function<std::string(GatewaySimulator& gateway)>;

// Reads one command line; an empty one and a comment do nothing. Throws CommandError when the line is no command.
Action ParseCommand(std::string_view line);

// Reads and runs one command line.
CommandOutcome RunCommand(GatewaySimulator& gateway, std::string_view line);

// All commands and all faults, one line each.
std::string CommandHelp();

}  // namespace Simulator
