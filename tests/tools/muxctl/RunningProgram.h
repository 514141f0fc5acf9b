#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/Process.h"

namespace Muxctl {

using Testing::Ending;
using Testing::ProcessSetup;
using Testing::RunToEnd;
using RunningProgram = Testing::Process;
using Words = std::vector<std::string>;

inline Words operator+(Words left, const Words& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

inline Words ToPort(std::uint16_t port) {
    return {"--port", std::to_string(port)};
}

// For what must come, however busy the machine is.
inline const Words kMuchTime = {"--timeout", "60"};

// muxctl with these arguments, to be started and run to its end.
inline Words MuxctlCommand(const Words& arguments) {
    return Words{MUXCTL_PROGRAM} + arguments;
}
inline Ending RunMuxctl(const Words& arguments, const ProcessSetup& setup = {}) {
    return RunToEnd(MuxctlCommand(arguments), setup);
}

}  // namespace Muxctl
