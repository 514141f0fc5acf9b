#include "tools/gateway-simulator/ProgramOptions.h"

#include <CLI/CLI.hpp>

#include "tools/gateway-simulator/Step.h"

namespace Simulator {
namespace {

constexpr int kUsageStatus = 64;
constexpr std::uint16_t kGatewayPort = 2101;

const char* const kDescription =
    "Plays a lock gateway on a TCP port: answers requests for its locks, raises card and PIN events, and goes wrong\n"
    "in the ways it is told to. One line for each frame: \"->\" is what arrived, \"<-\" what was sent.\n";

const char* const kFooterStart =
    "\n"
    "Commands, one a line, from standard input and from the script. Numbers are decimal, or hexadecimal after 0x;\n"
    "HEX is bytes in hexadecimal; # begins a comment.\n"
    "\n";

const char* const kFooterEnd =
    "\n"
    "The gateway accepts a request whose sequence counter is its own plus one; any other is answered with result 7\n"
    "and its own. Requests for an address without a lock are answered with result 8. OPEN_LOCK opens until closed, or\n"
    "for as many seconds as its second value says; CLOSE_LOCK closes after its value's seconds.\n"
    "\n"
    "Examples:\n"
    "  gateway-simulator --locks 5,6 --counter 41\n"
    "  printf 'wait 2000\\ncard 5 04A1B2C3\\n' | gateway-simulator\n"
    "  a script:  wait 5000               # until the daemon is connected\n"
    "             fault delay 2000 3      # three answers two seconds late\n"
    "             fault wrong-crc lock 6  # the next answer for lock 6\n"
    "             pin 5 1234\n";

void AddOptions(CLI::App& app, ProgramOptions& options) {
    SimulatorOptions& gateway = options.gateway;
    app.add_option("--port", gateway.port, "port to listen on, 0 for any free one")->capture_default_str();
    app.add_option("--host", gateway.host, "numeric address to listen on")->capture_default_str();
    app.add_option("--locks", gateway.locks, "addresses of the locks, as in 5,6,7")
        ->delimiter(',')
        ->capture_default_str();
    app.add_option("--counter", gateway.counter, "sequence counter to begin with")->capture_default_str();
    app.add_option("--capacity", gateway.whitelistCapacity, "room in each lock's whitelist")->capture_default_str();
    app.add_option("--script", options.script, "file of commands to run, one a line");
    app.add_flag("--quiet", options.quiet, "no line for each frame, event and connection");
}

}  // namespace

ParsedOptions ParseOptions(int argumentCount, const char* const* arguments) {
    ParsedOptions parsed;
    parsed.options.gateway.port = kGatewayPort;
    parsed.options.gateway.locks = {5, 6, 7};
    CLI::App app(kDescription, "gateway-simulator");
    app.footer(kFooterStart + StepHelp() + kFooterEnd);
    AddOptions(app, parsed.options);
    try {
        app.parse(argumentCount, arguments);
        parsed.run = true;
    } catch (const CLI::ParseError& error) {
        parsed.exitStatus = app.exit(error) == 0 ? 0 : kUsageStatus;
    }
    return parsed;
}

}  // namespace Simulator
