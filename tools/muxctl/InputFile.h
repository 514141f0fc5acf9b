#pragma once

#include <optional>
#include <string>

namespace Muxctl {

// All that is in a file, or on standard input when the path is "-"; nothing when it cannot be read.
std::optional<std::string> ReadInputFile(const std::string& path);

}  // namespace Muxctl
