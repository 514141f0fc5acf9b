#pragma once

#include <string>
#include <vector>

#include "tests/support/Process.h"

namespace Muxctl {

using Testing::Ending;
using Testing::ProcessSetup;
using Testing::RunToEnd;
using RunningProgram = Testing::Process;

// muxctl with these arguments, to be started and run to its end.
inline std::vector<std::string> MuxctlCommand(const std::vector<std::string>& arguments) {
    std::vector<std::string> command = {MUXCTL_PROGRAM};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}
inline Ending RunMuxctl(const std::vector<std::string>& arguments, const ProcessSetup& setup = {}) {
    return RunToEnd(MuxctlCommand(arguments), setup);
}

}  // namespace Muxctl
