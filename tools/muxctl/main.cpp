#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>

#include "tools/client/Errors.h"
#include "tools/muxctl/CommandLine.h"
#include "tools/muxctl/ExitStatus.h"
#include "tools/muxctl/Journal.h"
#include "tools/muxctl/PeerHint.h"
#include "tools/muxctl/UsageError.h"

namespace {

// Empty for one that is not set.
std::string Variable(const char* name) {
    // Nobody changes the environment.
    const char* const value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe)
    return value == nullptr ? "" : value;
}

bool CanSteer(int descriptor) {
    return isatty(descriptor) != 0 && Variable("TERM") != "dumb";
}

int Run(const Muxctl::CommandLine& commandLine) {
    const Muxctl::Style style(CanSteer(STDOUT_FILENO) && Variable("NO_COLOR").empty());
    const Muxctl::Console console = {std::cout, std::cerr, style, CanSteer(STDERR_FILENO),
                                     Muxctl::IsJournal(STDOUT_FILENO)};
    try {
        return commandLine.command(commandLine.options, console);
    } catch (const Muxctl::UsageError& error) {
        console.Complain(error.what());
        return Muxctl::kUsageStatus;
    } catch (const MuxClient::ProtocolError& error) {
        console.Complain(error.what() + std::string(Muxctl::kPortHint));
        return Muxctl::kNoAnswerStatus;
    } catch (const std::exception& error) {
        console.Complain(error.what());
        return Muxctl::kNoAnswerStatus;
    }
}

}  // namespace

int main(int argumentCount, char** arguments) {
    const Muxctl::CommandLine commandLine = Muxctl::ParseCommandLine(argumentCount, arguments);
    return commandLine.command ? Run(commandLine) : Muxctl::kUsageStatus;
}
