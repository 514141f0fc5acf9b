#pragma once

#include <string>

#include "diagnostics/TextReading.h"

namespace Muxctl {

// Reads all that is in a file, or on standard input when the path is "-".
Diagnostics::TextReading ReadInputFile(const std::string& path, std::string& text);

}  // namespace Muxctl
