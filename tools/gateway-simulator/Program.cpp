#include "tools/gateway-simulator/Program.h"

#include <unistd.h>

#include <csignal>
#include <iostream>
#include <utility>

#include "tools/gateway-simulator/CommandError.h"
#include "tools/gateway-simulator/LineReader.h"

namespace Simulator {
namespace {

SimulatorOptions WithObserver(const ProgramOptions& options, Observer& reporter) {
    SimulatorOptions gateway = options.gateway;
    gateway.observer = options.quiet ? nullptr : &reporter;
    return gateway;
}

}  // namespace

Program::Program(const ProgramOptions& options, std::vector<Step> script)
    : options_(options),
      script_(std::move(script)),
      writer_(std::cout),
      reporter_(writer_),
      gateway_(WithObserver(options, reporter_)),
      scriptRunner_(loop_, gateway_, writer_, [this] { loop_.stop(); }),
      inputRunner_(loop_, gateway_, writer_, [this] { loop_.stop(); }) {}

void Program::Run() {
    asio::signal_set signals(loop_, SIGINT, SIGTERM);
    signals.async_wait([this](const asio::error_code&, int) { loop_.stop(); });
    gateway_.Start();
    AnnounceReady();
    asio::post(loop_, [this] { scriptRunner_.Add(script_); });
    const LineReader input(STDIN_FILENO,
                           [this](const std::string& line) { asio::post(loop_, [this, line] { OnInput(line); }); });
    loop_.run();
}

void Program::AnnounceReady() {
    const bool isVersionSix = options_.gateway.host.find(':') != std::string::npos;
    const std::string host = isVersionSix ? "[" + options_.gateway.host + "]" : options_.gateway.host;
    writer_.Write("Listening on " + host + ":" + std::to_string(gateway_.Port()));
}

void Program::OnInput(const std::string& line) {
    try {
        inputRunner_.Add({ParseStep(line)});
    } catch (const CommandError& error) {
        writer_.WriteTimed(std::string("error: ") + error.what());
    }
}

}  // namespace Simulator
