#include <clocale>
#include <csignal>
#include <iostream>
#include <stdexcept>
#include <vector>

#include "tools/gateway-simulator/CommandError.h"
#include "tools/gateway-simulator/GatewaysFile.h"
#include "tools/gateway-simulator/Program.h"
#include "tools/gateway-simulator/ProgramOptions.h"
#include "tools/gateway-simulator/Script.h"
#include "tools/gateway-simulator/TerminalCheck.h"

namespace {

constexpr int kFailureStatus = 1;
constexpr int kUsageStatus = 64;

std::vector<Simulator::GatewayDescription> GatewaysOf(const Simulator::ProgramOptions& options) {
    if (options.gatewaysFile.empty()) {
        return {options.gateway};
    }
    return Simulator::LoadGateways(options.gatewaysFile, options.fileHost);
}

Simulator::Program::Setup SetupOf(const Simulator::ProgramOptions& options) {
    Simulator::Program::Setup setup;
    setup.gateways = GatewaysOf(options);
    setup.script = options.script.empty() ? std::vector<Simulator::Step>() : Simulator::LoadScript(options.script);
    setup.quiet = options.quiet;
    setup.screen = !options.plain && Simulator::IsTerminalUsable();
    return setup;
}

void Complain(const std::exception& error) {
    std::cerr << "gateway-simulator: " << error.what() << '\n';
}

int RunProgram(const Simulator::ProgramOptions& options) {
    try {
        Simulator::Program(SetupOf(options)).Run();
        return 0;
    } catch (const Simulator::CommandError& error) {
        Complain(error);
        return kUsageStatus;
    } catch (const std::exception& error) {
        Complain(error);
        return kFailureStatus;
    }
}

}  // namespace

int main(int argumentCount, char** arguments) {
    // Whoever reads our output may go before us.
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
    // For the status screen, and here because no other thread may run yet. The terminal library of Debian 13 does not
    // look at the locale of a thread.
    static_cast<void>(std::setlocale(LC_CTYPE, ""));  // NOLINT(concurrency-mt-unsafe)
    const Simulator::ParsedOptions parsed = Simulator::ParseOptions(argumentCount, arguments);
    return parsed.run ? RunProgram(parsed.options) : parsed.exitStatus;
}
