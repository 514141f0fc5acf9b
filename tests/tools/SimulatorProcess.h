#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/Process.h"

namespace Testing {

// The gateway simulator with these options; Write() types commands. Output() has standard error too.
class SimulatorProcess : public Process {
  public:
    explicit SimulatorProcess(const std::vector<std::string>& options);

    // The port at the end of the line with this text; a failed test, and 0, when it does not come.
    std::uint16_t PortBehind(const std::string& text = "Listening on 127.0.0.1:") const;
};

}  // namespace Testing
