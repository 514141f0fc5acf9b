#pragma once

#include <plog/Severity.h>

#include <cstdint>
#include <ostream>
#include <string>

namespace Mux {

// What the process is to do with its command line.
enum class CommandLineAction { kShowUsage, kShowVersion, kShowVersionNumber, kRun };

// The options of one start, with their defaults.
struct CommandLine {
    CommandLineAction action = CommandLineAction::kRun;
    std::int32_t port = 5555;
    std::string configFile;
    std::string logFile;
    plog::Severity severity = plog::info;
    std::uint8_t tracerCategories = 0;
    bool colors = false;
};

// Reads the options. Unknown options and positional arguments are ignored; there is no error.
//
// The port is a special case that installations rely on: "--port=N" is used only if "--port" is also given as a flag.
CommandLine ParseCommandLine(int argc, const char* const* argv);

// Prints the text of --help.
void PrintUsage(std::ostream& output);

}  // namespace Mux
