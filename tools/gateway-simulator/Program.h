#pragma once

#include <asio.hpp>
#include <memory>
#include <string>
#include <vector>

#include "tools/gateway-simulator/FrontEnd.h"
#include "tools/gateway-simulator/GatewayDescription.h"
#include "tools/gateway-simulator/Step.h"
#include "tools/gateway-simulator/StepRunner.h"

namespace Simulator {

// The gateways as a process: takes commands from a script and from the user until it is told to end.
class Program {
  public:
    struct Setup {
        // At least one.
        std::vector<GatewayDescription> gateways;
        std::vector<Step> script;
        // No line for each frame, event and connection.
        bool quiet = false;
        // Use the status screen, which requires a terminal, instead of plain lines.
        bool screen = false;
    };

    // Throws CommandError on an invalid whitelist file.
    explicit Program(Setup setup);

    // Listens and works until SIGINT, SIGTERM or "quit"; with a screen also until its terminal goes away. Throws
    // std::runtime_error, with a text for the person, when a port or the terminal cannot be opened.
    void Run();

  private:
    PlayedGateways PlayGateways();
    std::vector<Target> Targets();
    StepRunner::Handlers StepHandlers(bool confirms);
    void StartGateways();
    void OnInput(const std::string& line);

    Setup setup_;
    asio::io_context loop_{1};
    // In front of the front end and the gateways: a signal that comes while they end must not end the process before
    // the terminal is given back.
    asio::signal_set signals_{loop_};
    std::unique_ptr<FrontEnd> frontEnd_;
    PlayedGateways gateways_;
    StepRunner scriptRunner_;
    StepRunner inputRunner_;
};

}  // namespace Simulator
