#include <csignal>
#include <iostream>
#include <system_error>

#include "tools/gateway-simulator/CommandError.h"
#include "tools/gateway-simulator/Program.h"
#include "tools/gateway-simulator/ProgramOptions.h"
#include "tools/gateway-simulator/Script.h"

namespace {

constexpr int kFailureStatus = 1;
constexpr int kUsageStatus = 64;

int RunProgram(const Simulator::ProgramOptions& options) {
    try {
        const std::vector<Simulator::Step> script =
            options.script.empty() ? std::vector<Simulator::Step>() : Simulator::LoadScript(options.script);
        Simulator::Program(options, script).Run();
        return 0;
    } catch (const Simulator::CommandError& error) {
        std::cerr << error.what() << '\n';
        return kUsageStatus;
    } catch (const std::system_error& error) {
        std::cerr << "Cannot listen on " << options.gateway.host << ':' << options.gateway.port << ": "
                  << error.code().message() << '\n';
        return kFailureStatus;
    }
}

}  // namespace

int main(int argumentCount, char** arguments) {
    // Whoever reads our output may go before us.
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
    const Simulator::ParsedOptions parsed = Simulator::ParseOptions(argumentCount, arguments);
    return parsed.run ? RunProgram(parsed.options) : parsed.exitStatus;
}
