#pragma once

#include <string>

#include "tools/gateway-simulator/GatewayDescription.h"

namespace Simulator {

// The options of the command line.
struct ProgramOptions {
    // The one gateway, unless a file has them.
    GatewayDescription gateway;
    // Path of a file of gateways, empty for none.
    std::string gatewaysFile;
    // The address for all gateways of the file, empty for their own.
    std::string fileHost;
    // Path of a script, empty for none.
    std::string script;
    // No line for each frame, event and connection.
    bool quiet = false;
    // No status screen on a terminal either.
    bool plain = false;
};

// Whether to run, or to end at once with an exit status.
struct ParsedOptions {
    bool run = false;
    int exitStatus = 0;
    ProgramOptions options;
};

// Parses the command line. Prints help to standard output and errors to standard error; the exit status is 0 for help
// and 64 for an invalid command line.
ParsedOptions ParseOptions(int argumentCount, const char* const* arguments);

}  // namespace Simulator
