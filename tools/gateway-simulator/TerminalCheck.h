#pragma once

namespace Simulator {

// Whether standard input and standard output are a terminal on which text can be placed anywhere.
bool IsTerminalUsable();

}  // namespace Simulator
