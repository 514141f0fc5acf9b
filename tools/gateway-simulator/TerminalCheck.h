#pragma once

namespace Simulator {

// Whether standard input and standard output are a terminal on which text can be placed anywhere, and this process has
// it in the foreground.
bool IsTerminalUsable();

}  // namespace Simulator
