#pragma once

#include <string>

#include "tools/gateway-simulator/SimulatorOptions.h"

namespace Simulator {

// What the command line says.
struct ProgramOptions {
    SimulatorOptions gateway;
    // Path of a script, empty for none.
    std::string script;
    // No line for each frame, event and connection.
    bool quiet = false;
};

// Whether to run, or to end at once with an exit status.
struct ParsedOptions {
    bool run = false;
    int exitStatus = 0;
    ProgramOptions options;
};

// Reads the command line. Prints the help to standard output, and what is wrong to standard error; the exit status is
// 0 for help and 64 for a command line that is no good.
ParsedOptions ParseOptions(int argumentCount, const char* const* arguments);

}  // namespace Simulator
