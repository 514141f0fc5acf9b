#pragma once

#include <string>

#include "diagnostics/TextReading.h"

namespace Muxctl {

// Reads a whole file, or standard input if the path is "-".
Diagnostics::TextReading ReadInputFile(const std::string& path, std::string& text);

// The same; throws UsageError with the reason if it cannot be read.
std::string ReadWholeFile(const std::string& path);

}  // namespace Muxctl
