#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/gateway-simulator/GatewaySimulator.h"

namespace Simulator {

// A parsed command line; returns its output and throws CommandError if the state of the gateway does not allow it.
using Action = std::function<std::string(GatewaySimulator& gateway)>;

// Parses one command line; an empty one and a comment do nothing. Throws CommandError if the line is not a command;
// it names the nearest one, or the nearest of `others`.
Action ParseCommand(std::string_view line, const std::vector<std::string_view>& others = {});

// Parses and runs one command line, such as "card 5 04A1B2C3". Returns the error, empty on success. The command's
// output goes to the gateway's observer as a notice.
std::string Execute(GatewaySimulator& gateway, std::string_view line);

// All commands and all faults, one line each.
std::string CommandHelp();

}  // namespace Simulator
