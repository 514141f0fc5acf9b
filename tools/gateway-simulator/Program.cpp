#include "tools/gateway-simulator/Program.h"

#include <array>
#include <csignal>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "tools/gateway-simulator/CommandError.h"
#include "tools/gateway-simulator/LineFrontEnd.h"
#include "tools/gateway-simulator/ScreenFrontEnd.h"

namespace Simulator {
namespace {

std::unique_ptr<FrontEnd> MakeFrontEnd(const Program::Setup& setup) {
    if (setup.screen) {
        return std::make_unique<ScreenFrontEnd>(setup.gateways);
    }
    return std::make_unique<LineFrontEnd>(setup.gateways);
}

// What a thread is guilty of itself: blocked, it would end the process before any handler has had its say.
constexpr std::array<int, 7> kFaults = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS};

// While it is there, threads are made that no signal goes to: signals are for the program's thread.
class BlockedSignals {
  public:
    BlockedSignals() {
        sigset_t all;
        sigfillset(&all);
        for (const int fault : kFaults) {
            sigdelset(&all, fault);
        }
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;

  private:
    sigset_t before_ = {};
};

}  // namespace

Program::Program(Setup setup)
    : setup_(std::move(setup)),
      frontEnd_(MakeFrontEnd(setup_)),
      gateways_(PlayGateways()),
      scriptRunner_(loop_, Targets(), frontEnd_->Messages(), StepHandlers(false)),
      inputRunner_(loop_, Targets(), frontEnd_->Messages(), StepHandlers(frontEnd_->ConfirmsCommands())) {}

void Program::Run() {
    signals_.add(SIGINT);
    signals_.add(SIGTERM);
    if (setup_.screen) {
        // Without the screen these end the process by themselves, and there is nothing to restore.
        signals_.add(SIGHUP);
        signals_.add(SIGQUIT);
    }
    signals_.async_wait([this](const asio::error_code&, int) { loop_.stop(); });
    StartGateways();
    FrontEnd::Handlers handlers;
    handlers.line = [this](const std::string& line) { OnInput(line); };
    handlers.gone = [this] { loop_.stop(); };
    handlers.chosen = [this] { return inputRunner_.Chosen(); };
    frontEnd_->Open(loop_, gateways_, handlers);
    asio::post(loop_, [this] { scriptRunner_.Add(setup_.script); });
    loop_.run();
}

PlayedGateways Program::PlayGateways() {
    const BlockedSignals blocked;
    const auto detail = setup_.quiet ? PlayedGateway::Detail::kTrouble : PlayedGateway::Detail::kAll;
    PlayedGateways gateways;
    for (const GatewayDescription& description : setup_.gateways) {
        const std::size_t index = gateways.size();
        const PlayedGateway::Outputs outputs = {frontEnd_->GatewayOutput(index), frontEnd_->KeepAliveOutput(index)};
        gateways.push_back(std::make_unique<PlayedGateway>(description, outputs, detail));
    }
    return gateways;
}

std::vector<Target> Program::Targets() {
    std::vector<Target> targets;
    for (const std::unique_ptr<PlayedGateway>& gateway : gateways_) {
        targets.push_back(gateway->AsTarget(frontEnd_->CommandOutput(targets.size())));
    }
    return targets;
}

StepRunner::Handlers Program::StepHandlers(bool confirms) {
    StepRunner::Handlers handlers;
    handlers.quit = [this] { loop_.stop(); };
    handlers.showKeepAlives = [this](bool shown) { frontEnd_->ShowKeepAlives(shown); };
    handlers.confirms = confirms;
    return handlers;
}

void Program::StartGateways() {
    for (const std::unique_ptr<PlayedGateway>& gateway : gateways_) {
        const GatewayDescription& description = gateway->Description();
        try {
            gateway->Start();
        } catch (const std::system_error& error) {
            const std::string which = gateways_.size() == 1 ? "" : " for gateway " + std::to_string(description.id);
            throw std::runtime_error("cannot listen on " +
                                     AddressText(description.options.host, description.options.port) + which + ": " +
                                     error.code().message());
        }
    }
}

void Program::OnInput(const std::string& line) {
    try {
        inputRunner_.Add({ParseStep(line)});
    } catch (const CommandError& error) {
        frontEnd_->Messages().WriteTimed(std::string("error: ") + error.what());
    }
}

}  // namespace Simulator
