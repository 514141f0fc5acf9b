#pragma once

#include <functional>

#include "tools/muxctl/Console.h"
#include "tools/muxctl/Options.h"

namespace Muxctl {

// What to do.
struct CommandLine {
    // Returns the exit status; throws as the commands do. Empty if the command line is invalid.
    std::function<int(const Options& options, const Console& console)> command;
    Options options;
};

// Reads the command line. Prints to standard error what is wrong, and the help when there is nothing on it at all. For
// main() alone.
CommandLine ParseCommandLine(int argumentCount, const char* const* arguments);

}  // namespace Muxctl
