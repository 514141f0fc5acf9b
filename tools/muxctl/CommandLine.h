#pragma once

#include <functional>

#include "tools/muxctl/Console.h"
#include "tools/muxctl/Options.h"

namespace Muxctl {

// What to do, or to end at once with an exit status.
struct CommandLine {
    // Returns the exit status; throws as the commands do. Empty when the program is to end.
    std::function<int(const Options& options, const Console& console)> command;
    Options options;
    int exitStatus = 0;
};

// Reads the command line. Prints the help to standard output, and what is wrong to standard error; the exit status is
// 0 for help and 64 for a command line that is no good.
CommandLine ParseCommandLine(int argumentCount, const char* const* arguments);

}  // namespace Muxctl
