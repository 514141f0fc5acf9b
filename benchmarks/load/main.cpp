// load: takes the measure of a running server, the daemon or any other program that answers its clients' protocol.

#include <sys/resource.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>

#include "benchmarks/load/Commands.h"

namespace {

constexpr int kUsageStatus = 64;

// Hundreds of clients need more descriptors than a shell usually grants.
void RaiseDescriptorLimit() {
    rlimit limit = {};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

void WriteJson(const Load::Report& report, const std::string& file) {
    std::ofstream stream(file);
    stream << report.Json() << '\n';
    if (!stream.flush()) {
        throw std::runtime_error("cannot write " + file);
    }
}

void Measure(const Load::Action& action, const Load::Target& target, const std::string& jsonFile) {
    Load::Report report;
    action(target, report);
    std::cout << report.Table() << std::flush;
    if (!jsonFile.empty()) {
        WriteJson(report, jsonFile);
    }
}

int Run(int argc, char** argv) {
    CLI::App app("Measure a running server and print the figures", "load");
    Load::Target target;
    std::string jsonFile;
    Load::Action action;
    app.add_option("--host", target.host, "Address of the server")->capture_default_str();
    app.add_option("--port", target.port, "Port of the server")->capture_default_str();
    app.add_option("--json", jsonFile, "Also write the figures to this file");
    Load::AddCommands(app, action);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? EXIT_SUCCESS : kUsageStatus;
    }
    Measure(action, target, jsonFile);
    return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
    RaiseDescriptorLimit();
    try {
        return Run(argc, argv);
    } catch (const std::exception& error) {
        std::cerr << "load: " << error.what() << '\n';
        return EXIT_FAILURE;
    }
}
