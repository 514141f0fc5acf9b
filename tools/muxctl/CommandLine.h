#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tools/muxctl/Console.h"
#include "tools/muxctl/Options.h"
#include "tools/muxctl/RequestStep.h"

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

// Reads a request as it stands in a command line, without the program's name and global options, for the Mux and site
// of `common`. Throws UsageError with what is wrong. Any thread.
std::vector<RequestStep> ParseRequest(const std::vector<std::string>& words, const Options& common);

}  // namespace Muxctl
