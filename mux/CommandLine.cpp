#include "mux/CommandLine.h"

#include <argh.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

#include "diagnostics/InitDiagnostics.h"
#include "diagnostics/Tracer.h"
#include "mux/Version.h"

namespace Mux {
namespace {

constexpr const char* kUsage[] = {
    kNameAndVersion,
    "Usage: ",
    "dw-hal-mux-brenk [--port <listen port> --configFile <filePath> --help]",
    "** commands listed inside \"[\" and \"]\" are optionals.",
    "",
    "--version: print out the application name and current version.",
    "--ver: print out the application current version number.",
    "--help: print this help.",
    "--port: specifies a new listen port, different from default 5555.",
    ("--configFile: loads a JSON config file directly from filesystem. TCP/IP can still be used to change "
     "configuration."),
    "--logFile: write the log to a specified logfile",
    "--verbose, -v: enable verbose logging",
    "--debug, -dbg: enable debug logging",
    "--colors: enable colored output for console",
    ("If nothing specified, MUX will be started with the default listen port (5555) waiting for a valid configuration "
     "to be send via network using TCP connection."),
    "",
};

constexpr const char* kValueOptions[] = {"configFile", "logFile"};

// To the parser an option is a name behind any number of dashes.
bool TakesValue(const std::string& word) {
    const std::size_t dashes = std::min(word.find_first_not_of('-'), word.size());
    return dashes > 0 && std::find(std::begin(kValueOptions), std::end(kValueOptions), word.substr(dashes)) !=
                             std::end(kValueOptions);
}

// The parser does not take empty words. One that is the value of an option is joined to it ("--logFile="); any other
// is a positional argument, which counts for nothing.
std::vector<std::string> WordsOf(int argc, const char* const* argv) {
    std::vector<std::string> words;
    for (int index = 0; index < argc; ++index) {
        const std::string word = argv[index];
        if (!word.empty()) {
            words.push_back(word);
        } else if (!words.empty() && TakesValue(words.back())) {
            words.back() += '=';
        }
    }
    return words;
}

argh::parser Parse(const std::vector<std::string>& words) {
    std::vector<const char*> pointers;
    pointers.reserve(words.size());
    for (const std::string& word : words) {
        pointers.push_back(word.c_str());
    }
    argh::parser arguments;
    for (const char* const option : kValueOptions) {
        arguments.add_param(option);
    }
    arguments.parse(static_cast<int>(pointers.size()), pointers.data(), argh::parser::PREFER_FLAG_FOR_UNREG_OPTION);
    return arguments;
}

CommandLineAction ReadAction(int argc, const argh::parser& arguments) {
    if (argc <= 0 || arguments[{"--help", "-h"}]) {
        return CommandLineAction::kShowUsage;
    }
    if (arguments["--version"]) {
        return CommandLineAction::kShowVersion;
    }
    return arguments["--ver"] ? CommandLineAction::kShowVersionNumber : CommandLineAction::kRun;
}

std::int32_t ReadPort(const argh::parser& arguments, std::int32_t standardPort) {
    std::int32_t port = standardPort;
    if (arguments[{"--port", "-p"}]) {
        arguments({"--port", "-p"}, standardPort) >> port;
    }
    return port;
}

bool ReadColors(const argh::parser& arguments) {
    bool colors = false;
    arguments("--colors", arguments["--colors"]) >> colors;
    return colors;
}

void ReadSeverity(const argh::parser& arguments, CommandLine& options) {
    if (arguments[{"--debug", "-dbg"}]) {
        options.severity = plog::debug;
        options.tracerCategories = Diagnostics::Tracer::kDebugCategories;
    }
    if (arguments[{"--verbose", "-v"}]) {
        options.severity = plog::verbose;
    }
}

}  // namespace

CommandLine ParseCommandLine(int argc, const char* const* argv) {
    const argh::parser arguments = Parse(WordsOf(argc, argv));
    CommandLine options;
    options.action = ReadAction(argc, arguments);
    options.port = ReadPort(arguments, options.port);
    ReadSeverity(arguments, options);
    options.configFile = arguments("--configFile", "").str();
    options.logFile = arguments("--logFile", Diagnostics::kDefaultLogFile).str();
    options.colors = ReadColors(arguments);
    return options;
}

void PrintUsage(std::ostream& output) {
    for (const char* const line : kUsage) {
        output << line << std::endl;
    }
}

}  // namespace Mux
