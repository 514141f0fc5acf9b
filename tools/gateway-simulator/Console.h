#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "tools/gateway-simulator/GatewaySimulator.h"

namespace Simulator {

// A command line that was read and is ready to run; it returns what it has to say and throws CommandError when the
// gateway is not in a state for it.
using Action = std::function<std::string(GatewaySimulator& gateway)>;

// Reads one command line; an empty one and a comment do nothing. Throws CommandError when the line is no command.
Action ParseCommand(std::string_view line);

// Reads and runs one command line, as in "card 5 04A1B2C3". Returns what is wrong with it, empty when nothing is. What
// the command has to say goes to the gateway's observer as a notice.
std::string Execute(GatewaySimulator& gateway, std::string_view line);

// All commands and all faults, one line each.
std::string CommandHelp();

}  // namespace Simulator
