#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "tools/gateway-simulator/Console.h"

namespace Simulator {

// One line of a script or of standard input: a console command, or one of the two words that are about the flow of
// commands and not about a gateway.
struct Step {
    enum class Kind { kCommand, kWait, kQuit };

    Kind kind = Kind::kCommand;
    // Of kCommand.
    Action action;
    // Of kWait.
    std::chrono::milliseconds wait{0};
};

// Reads "wait MILLISECONDS", "quit" or a console command. Throws CommandError when the line is none of them.
Step ParseStep(std::string_view line);

// CommandHelp() with these two words.
std::string StepHelp();

}  // namespace Simulator
