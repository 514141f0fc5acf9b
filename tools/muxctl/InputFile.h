#pragma once

#include <string>

#include "diagnostics/TextReading.h"

namespace Muxctl {

// Reads a whole file, or standard input if the path is "-".
Diagnostics::TextReading ReadInputFile(const std::string& path, std::string& text);

}  // namespace Muxctl
