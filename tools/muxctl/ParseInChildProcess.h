#pragma once

#include <string>

namespace Muxctl {

// What the Mux's own parser does with a configuration.
enum class ParserOutcome { kParsed, kNotJson, kEndsProcess };

// Has the Mux's own parser read `text` in a child process, because what it does not accept ends its process. The child
// leaves no output and no core dump. Throws std::system_error when there can be no child. Call it while the process has
// no other thread.
ParserOutcome ParseInChildProcess(const std::string& text);

}  // namespace Muxctl
