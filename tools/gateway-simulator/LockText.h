#pragma once

#include <string>

#include "tools/gateway-simulator/Lock.h"

namespace Simulator {

// What a lock does, in words: "closed", "open" or "open (timed)".
const char* StateText(Lock::State state);

// A battery as a client sees it in a lock's status: "battery full, battery level 95 % or more". Takes 0 to 3 each.
std::string BatteryText(unsigned status, unsigned level);

}  // namespace Simulator
