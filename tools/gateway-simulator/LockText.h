#pragma once

#include "tools/gateway-simulator/Lock.h"

namespace Simulator {

// What a lock does just now, in words: "closed", "open" or "open for a while".
const char* StateText(const Lock& lock);

}  // namespace Simulator
