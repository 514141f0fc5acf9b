#pragma once

#include "tools/gateway-simulator/Lock.h"

namespace Simulator {

// What a lock does, in words: "closed", "open" or "open for a while".
const char* StateText(Lock::State state);

}  // namespace Simulator
