#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "tools/gateway-simulator/Console.h"

namespace Simulator {

// One line of a script or of standard input: a console command, or one of the words that are about the flow of commands
// and not about a gateway.
struct Step {
    enum class Kind { kCommand, kWait, kQuit, kUse, kList, kKeepAlives, kHelp };

    Kind kind = Kind::kCommand;
    // Of kCommand.
    Action action;
    // Of kWait.
    std::chrono::milliseconds wait{0};
    // Of kKeepAlives.
    bool isOn = false;
    // The gateway that kUse chooses, or that kCommand names in front; nothing for the one chosen last.
    std::optional<std::int32_t> gateway;
};

// Reads "wait MILLISECONDS", "quit", "use GATEWAY", "gateways", "keep-alives on|off", "help", or a console command,
// which may have "GATEWAY:" in front. Throws CommandError when the line is none of them.
Step ParseStep(std::string_view line);

// CommandHelp() with these words.
std::string StepHelp();

}  // namespace Simulator
