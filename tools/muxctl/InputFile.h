#pragma once

#include <string>

#include "diagnostics/TextReading.h"

namespace Muxctl {

// Reads a whole file, or standard input if the path is "-". After kFailed errno has the reason.
Diagnostics::TextReading ReadInputFile(const std::string& path, std::string& text);

// Why the file that was read last cannot be used: "cannot be read: No such file or directory". To be called at once,
// because it takes the reason from errno; not for kWhole.
std::string InputFaultText(Diagnostics::TextReading reading);

// The same; throws UsageError with the reason if it cannot be read.
std::string ReadWholeFile(const std::string& path);

}  // namespace Muxctl
