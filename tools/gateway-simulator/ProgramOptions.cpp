#include "tools/gateway-simulator/ProgramOptions.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "mux/Version.h"
#include "tools/gateway-simulator/Arguments.h"
#include "tools/gateway-simulator/CommandError.h"
#include "tools/gateway-simulator/Step.h"
#include "tools/muxctl/NearestWord.h"

namespace Simulator {
namespace {

constexpr int kUsageStatus = 64;

const char* const kDescription =
    "Simulate a lock gateway on a TCP port: answer requests for its locks, raise card and PIN events, inject faults "
    "on\n"
    "command. Log one line for each frame: \"->\" received, \"<-\" sent. With --gateways, simulate all gateways of a\n"
    "file. On a terminal, show a status screen.\n";

const char* const kFooterStart =
    "\n"
    "Commands, one a line, from standard input and from the script. Numbers are decimal, or hexadecimal after 0x;\n"
    "HEX is bytes in hexadecimal; # begins a comment.\n"
    "\n";

const char* const kFooterEnd =
    "\n"
    "Several gateways: --gateways takes a JSON file, which may be the Mux's own configuration if its addresses are\n"
    "local. Lines then begin with a gateway's ID, and commands go to the first gateway until \"use 2\" selects "
    "another;\n"
    "\"2: card 5 04A1B2C3\" addresses gateway 2 once. Members beyond the Mux's own, all optional:\n"
    "  of a gateway   Counter, WhitelistCapacity, WhitelistFile\n"
    "  of a device    Open, BatteryStatus, BatteryLevel (0 to 3), MechanicalActive, BatteryWarning, BatteryAlarm\n"
    "\n"
    "Whitelists: --whitelist-file, or WhitelistFile in the JSON file, stores them: read at start, replaced atomically\n"
    "by every change. An invalid file is reported and left unchanged.\n"
    "\n"
    "Status screen: shown when standard input and standard output are a terminal, except with --plain or in the\n"
    "background. Type commands in its last row; Up and Down recall earlier ones, Page Down and Page Up turn the pages\n"
    "of long output such as that of \"help\", Ctrl-L redraws, Ctrl-C exits. If the gateways do not all fit, only that\n"
    "selected with \"use\" has its locks and frames. > ends a row that was cut.\n"
    "\n"
    "The gateway accepts a request whose sequence counter is its own plus one; it answers any other with result 7 and\n"
    "its own counter, and requests for an unknown address with result 8. OPEN_LOCK opens until closed, or for as many\n"
    "seconds as its second value; CLOSE_LOCK closes after its value in seconds.\n"
    "\n"
    "Examples:\n"
    "  gateway-simulator --locks 5,6 --counter 41\n"
    "  printf 'wait 2000\\ncard 5 04A1B2C3\\n' | gateway-simulator\n"
    "  a script:  wait 5000               # until the daemon is connected\n"
    "             fault delay 2000 3      # delay three answers by two seconds\n"
    "             fault wrong-crc lock 6  # spoil the next answer for lock 6\n"
    "             pin 5 1234\n"
    "  a first try, each line in a terminal of its own:\n"
    "    gateway-simulator --locks 5\n"
    "    dw-hal-mux-brenk --configFile mux.json    # whose gateway 1 is 127.0.0.1, port 2101\n"
    "    muxctl watch                              # prints the card after \"card 5 04A1B2C3\" in the first terminal\n"
    "    muxctl open --gateway 1 --lock 5\n"
    "  a site of several gateways:\n"
    "    gateway-simulator --gateways site.json\n"
    "  faults to try:\n"
    "    fault silence          the next request is executed but not answered\n"
    "    fault force-result 10  the next request is refused, and the client gets a NACK\n"
    "    fault delay 2000 3     three answers are delayed by two seconds\n"
    "    battery 5 0 0          the next status reports \"not available\" and \"below 80 %\"\n"
    "    fault off              no more faults\n"
    "\n"
    "Exit status: 0 on success, 1 if a port cannot be opened, 64 on invalid options, script or JSON file.\n";

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

std::string CheckHost(const std::string& text) {
    return text.empty() ? "must be an address or a host name" : "";
}

// Throws CLI::ValidationError when a lock is there twice.
void CheckLocks(const std::vector<std::uint32_t>& locks) {
    std::set<std::uint32_t> known;
    for (const std::uint32_t address : locks) {
        if (!known.insert(address).second) {
            throw CLI::ValidationError("--locks", std::to_string(address) + " is given twice");
        }
    }
}

std::vector<std::string_view> LongOptionsOf(const CLI::App& app) {
    std::vector<std::string_view> names;
    for (const CLI::Option* option : app.get_options()) {
        names.insert(names.end(), option->get_lnames().begin(), option->get_lnames().end());
    }
    return names;
}

// What is wrong with a word that the parser did not understand.
std::string UnknownOption(const CLI::App& app, const std::string& word) {
    if (word.empty() || word.front() != '-') {
        return "unexpected argument \"" + word + "\"";
    }
    const std::string name = word.substr(0, word.find('='));
    const std::size_t dashes = std::min(name.find_first_not_of('-'), name.size());
    const std::string nearest(Muxctl::NearestWord(name.substr(dashes), LongOptionsOf(app)));
    return "unknown option " + name + (nearest.empty() ? "" : "; did you mean --" + nearest + "?");
}

std::string FailureText(const CLI::App* app, const CLI::Error& error) {
    const std::vector<std::string> words = app->remaining();
    const auto unknown = std::find_if(words.begin(), words.end(), [](const std::string& word) { return word != "--"; });
    const std::string reason = unknown == words.end() ? error.what() : UnknownOption(*app, *unknown);
    return "gateway-simulator: " + reason + "\nRun 'gateway-simulator --help' for details\n";
}

void AddOptions(CLI::App& app, ProgramOptions& options) {
    SimulatorOptions& gateway = options.gateway.options;
    CLI::Option* const port = app.add_option("--port", gateway.port, "Port to listen on, 0 for any free one")
                                  ->transform(AsInCommands("PORT", std::numeric_limits<std::uint16_t>::max()))
                                  ->capture_default_str();
    app.add_option("--host", gateway.host, "Address or host name to listen on; overrides those of a file")
        ->check(CheckHost)
        ->capture_default_str();
    CLI::Option* const locks = app.add_option("--locks", gateway.locks, "Addresses of the locks, such as 5,6,7")
                                   ->delimiter(',')
                                   ->transform(AsInCommands("ADDRESS"))
                                   ->capture_default_str();
    CLI::Option* const counter = app.add_option("--counter", gateway.counter, "Initial sequence counter")
                                     ->transform(AsInCommands("COUNTER"))
                                     ->capture_default_str();
    CLI::Option* const capacity =
        app.add_option("--capacity", gateway.whitelistCapacity, "Capacity of each lock's whitelist")
            ->transform(AsInCommands("CAPACITY"))
            ->capture_default_str();
    CLI::Option* const whitelists =
        app.add_option("--whitelist-file", options.gateway.whitelistFile, "JSON file that stores the whitelists");
    CLI::Option* const file =
        app.add_option("--gateways", options.gatewaysFile, "JSON file of gateways to simulate, see below");
    for (CLI::Option* const ofOneGateway : {port, locks, counter, capacity, whitelists}) {
        file->excludes(ofOneGateway);
    }
    app.add_option("--script", options.script, "File of commands to run, one a line");
    app.add_flag("--quiet", options.quiet, "Do not log frames, events or connections");
    app.add_flag("--plain", options.plain, "Write lines on a terminal too, without status screen");
}

}  // namespace

ParsedOptions ParseOptions(int argumentCount, const char* const* arguments) {
    ParsedOptions parsed;
    parsed.options.gateway.options.port = kGatewayPort;
    parsed.options.gateway.options.locks = {5, 6, 7};
    CLI::App app(kDescription, "gateway-simulator");
    app.set_version_flag("--version", std::string("gateway-simulator ") + Mux::kVersion, "Print version and exit");
    app.footer(kFooterStart + StepHelp() + kFooterEnd);
    app.failure_message(FailureText);
    AddOptions(app, parsed.options);
    try {
        app.parse(argumentCount, arguments);
        CheckLocks(parsed.options.gateway.options.locks);
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
