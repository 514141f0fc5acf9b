#pragma once

#include <optional>
#include <string>

namespace Muxctl {

// The value of a variable in an environment file of systemd: one assignment on each line, comments after '#' or ';' at
// the start of a line, a value within quotes or without. The last assignment counts. Nothing if the file does not exist
// or does not set it. Throws UsageError with the reason if the file cannot be read. Any thread may call it.
//
// Continued lines and escapes are not supported: the values that matter here are numbers.
std::optional<std::string> VariableInFile(const std::string& file, const std::string& name);

}  // namespace Muxctl
