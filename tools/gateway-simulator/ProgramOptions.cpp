#include "tools/gateway-simulator/ProgramOptions.h"

#include <CLI/CLI.hpp>
#include <cstdint>
#include <limits>
#include <string>

#include "tools/gateway-simulator/Arguments.h"
#include "tools/gateway-simulator/CommandError.h"
#include "tools/gateway-simulator/Step.h"

namespace Simulator {
namespace {

constexpr int kUsageStatus = 64;

const char* const kDescription =
    "Plays a lock gateway on a TCP port: answers requests for its locks, raises card and PIN events, and goes wrong\n"
    "in the ways it is told to. One line for each frame: \"->\" is what arrived, \"<-\" what was sent.\n"
    "With --gateways it plays as many as the file has. On a terminal it shows a status screen.\n";

const char* const kFooterStart =
    "\n"
    "Commands, one a line, from standard input and from the script. Numbers are decimal, or hexadecimal after 0x;\n"
    "HEX is bytes in hexadecimal; # begins a comment.\n"
    "\n";

const char* const kFooterEnd =
    "\n"
    "Several gateways: --gateways takes a JSON file, which may be the Mux's own configuration as long as its "
    "addresses\n"
    "are this host's. Lines then begin with a gateway's ID, and commands go to the first gateway until \"use 2\" "
    "chooses\n"
    "another; \"2: card 5 04A1B2C3\" is for gateway 2 once. Members beyond the Mux's own, all optional:\n"
    "  of a gateway   Counter, WhitelistCapacity, WhitelistFile\n"
    "  of a device    Open, BatteryStatus, BatteryLevel (0 to 3), MechanicalActive, BatteryWarning, BatteryAlarm\n"
    "\n"
    "Whitelists: --whitelist-file, or WhitelistFile in the JSON file, keeps them beyond the end: it is read at the\n"
    "start and replaced at one stroke whenever a card or a switch changes. A broken file is reported and left alone.\n"
    "\n"
    "Status screen: shown when standard input and standard output are a terminal, unless --plain forbids it or the\n"
    "program is started in the background. Commands are typed in its last row; Up and Down bring earlier ones back,\n"
    "Page Up and Page Down turn the pages of a long answer such as that of \"help\", Ctrl-L draws anew, Ctrl-C ends.\n"
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
    "             pin 5 1234\n"
    "  a first try, each line in a terminal of its own:\n"
    "    gateway-simulator --locks 5\n"
    "    dw-hal-mux-brenk --configFile mux.json    # whose gateway 1 is 127.0.0.1, port 2101\n"
    "    muxctl watch                              # shows the card when \"card 5 04A1B2C3\" is typed into the first\n"
    "    muxctl open --gateway 1 --lock 5\n"
    "  a site of several gateways:\n"
    "    gateway-simulator --gateways site.json\n"
    "  what to type to see trouble:\n"
    "    fault silence          the next request is carried out and never answered\n"
    "    fault force-result 10  the next request is refused, and the client gets a NACK\n"
    "    fault delay 2000 3     three answers come two seconds late\n"
    "    battery 5 0 0          the next status tells of an empty battery\n"
    "    fault off              no more of it\n"
    "\n"
    "Exit status: 0 at the end, 1 when a port cannot be had, 64 when options, a script or a JSON file are no good.\n";

// Has a number of the command line read as those of commands are: left to itself, the library takes a leading zero for
// octal.
CLI::Validator AsInCommands(const char* what, std::uint32_t largest = std::numeric_limits<std::uint32_t>::max()) {
    return CLI::Validator(
        [=](std::string& text) -> std::string {
            try {
                Arguments arguments(text);
                text = std::to_string(arguments.Number(what, largest));
                arguments.End();
                return "";
            } catch (const CommandError& error) {
                return error.what();
            }
        },
        "");
}

void AddOptions(CLI::App& app, ProgramOptions& options) {
    SimulatorOptions& gateway = options.gateway.options;
    CLI::Option* const port = app.add_option("--port", gateway.port, "port to listen on, 0 for any free one")
                                  ->transform(AsInCommands("PORT", std::numeric_limits<std::uint16_t>::max()))
                                  ->capture_default_str();
    app.add_option("--host", gateway.host, "numeric address to listen on, in place of those of a file")
        ->capture_default_str();
    CLI::Option* const locks = app.add_option("--locks", gateway.locks, "addresses of the locks, as in 5,6,7")
                                   ->delimiter(',')
                                   ->transform(AsInCommands("ADDRESS"))
                                   ->capture_default_str();
    CLI::Option* const counter = app.add_option("--counter", gateway.counter, "sequence counter to begin with")
                                     ->transform(AsInCommands("COUNTER"))
                                     ->capture_default_str();
    CLI::Option* const capacity =
        app.add_option("--capacity", gateway.whitelistCapacity, "room in each lock's whitelist")
            ->transform(AsInCommands("CAPACITY"))
            ->capture_default_str();
    CLI::Option* const whitelists =
        app.add_option("--whitelist-file", options.gateway.whitelistFile, "JSON file that keeps the whitelists");
    CLI::Option* const file =
        app.add_option("--gateways", options.gatewaysFile, "JSON file of gateways to play, see below");
    for (CLI::Option* const ofOneGateway : {port, locks, counter, capacity, whitelists}) {
        file->excludes(ofOneGateway);
    }
    app.add_option("--script", options.script, "file of commands to run, one a line");
    app.add_flag("--quiet", options.quiet, "no line for each frame, event and connection");
    app.add_flag("--plain", options.plain, "lines also on a terminal, no status screen");
}

}  // namespace

ParsedOptions ParseOptions(int argumentCount, const char* const* arguments) {
    ParsedOptions parsed;
    parsed.options.gateway.options.port = kGatewayPort;
    parsed.options.gateway.options.locks = {5, 6, 7};
    CLI::App app(kDescription, "gateway-simulator");
    app.footer(kFooterStart + StepHelp() + kFooterEnd);
    AddOptions(app, parsed.options);
    try {
        app.parse(argumentCount, arguments);
        parsed.run = true;
        if (app.count("--host") > 0) {
            parsed.options.fileHost = parsed.options.gateway.options.host;
        }
    } catch (const CLI::ParseError& error) {
        parsed.exitStatus = app.exit(error) == 0 ? 0 : kUsageStatus;
    }
    return parsed;
}

}  // namespace Simulator
