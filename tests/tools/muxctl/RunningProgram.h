#pragma once

#include <string>
#include <vector>

#include "tests/support/Process.h"

namespace Muxctl {

using Testing::ProcessSetup;
using RunningProgram = Testing::Process;

// What a program that has come to its end left behind.
struct Ending {
    int status = -1;
    std::string output;
    std::string error;
};

// Runs a program to its end.
inline Ending RunToEnd(const std::vector<std::string>& command, const ProcessSetup& setup = {}) {
    RunningProgram program(command, setup);
    const int status = program.WaitForExit();
    return {status, program.Output(), program.ErrorOutput()};
}

// The same for muxctl with these arguments.
inline std::vector<std::string> MuxctlCommand(const std::vector<std::string>& arguments) {
    std::vector<std::string> command = {MUXCTL_PROGRAM};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}
inline Ending RunMuxctl(const std::vector<std::string>& arguments, const ProcessSetup& setup = {}) {
    return RunToEnd(MuxctlCommand(arguments), setup);
}

}  // namespace Muxctl
