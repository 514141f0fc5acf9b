#pragma once

#include <cstddef>
#include <string>

namespace Mux::Configuration {

// A configuration of the 500 gateways that one process may have is some 100 KB.
constexpr std::size_t kMaximumFileBytes = 64UL * 1024 * 1024;

// Reads a file, a pipe or a device to its end into `text`. Returns false, with nothing in `text`, when it cannot be
// opened or read, or has more than `maximumBytes`, which something without an end has too. Any thread may call it.
bool ReadConfigurationFile(const std::string& path, std::string& text, std::size_t maximumBytes = kMaximumFileBytes);

}  // namespace Mux::Configuration
