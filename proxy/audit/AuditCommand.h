#pragma once

#include <functional>
#include <ostream>
#include <string>

namespace CLI {
class App;
}

namespace MuxProxy {

// The command "audit" of a command line.
struct AuditCommand {
    // Owned by the command line; parsed() when it was called.
    CLI::App* app = nullptr;
    // Prints what the command line asked for and returns the exit status. Throws std::runtime_error with a sentence for
    // people.
    std::function<int(std::ostream&)> run;
};

// Path of the audit's file, once the command line is parsed; throws std::runtime_error.
using AuditFileFinder = std::function<std::string()>;

// Adds the command "audit" to the command line, whose options say which configuration is meant. The command line parses
// into the result, which outlives that.
[[nodiscard]] AuditCommand AddAuditCommand(CLI::App& app, const AuditFileFinder& fileOf);

}  // namespace MuxProxy
