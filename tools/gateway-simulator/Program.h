#pragma once

#include <asio.hpp>
#include <string>
#include <vector>

#include "tools/gateway-simulator/GatewaySimulator.h"
#include "tools/gateway-simulator/LineWriter.h"
#include "tools/gateway-simulator/ProgramOptions.h"
#include "tools/gateway-simulator/Step.h"
#include "tools/gateway-simulator/StepRunner.h"
#include "tools/gateway-simulator/TextReporter.h"

namespace Simulator {

// The gateway as a process: takes commands from a script and from standard input until it is told to end.
class Program {
  public:
    // Takes the options and the script's steps.
    Program(const ProgramOptions& options, std::vector<Step> script);

    // Listens, prints "Listening on ADDRESS:PORT" and works until SIGINT, SIGTERM or "quit"; the end of standard input
    // does not end it. Throws std::system_error when the port cannot be had.
    void Run();

  private:
    void AnnounceReady();
    void OnInput(const std::string& line);

    ProgramOptions options_;
    std::vector<Step> script_;
    LineWriter writer_;
    TextReporter reporter_;
    asio::io_context loop_{1};
    GatewaySimulator gateway_;
    StepRunner scriptRunner_;
    StepRunner inputRunner_;
};

}  // namespace Simulator
