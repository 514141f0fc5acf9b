#pragma once

#include <string>

namespace Simulator {

// All that is in a file. Throws CommandError, as in "night.txt: cannot be read"; one of more than 64 MiB cannot be.
std::string ReadTextFile(const std::string& path);

// Replaces a file atomically: readers find the old text or all of the new one, even if the process ends in between.
// Uses PATH.new temporarily. Throws std::system_error.
void ReplaceTextFile(const std::string& path, const std::string& text);

}  // namespace Simulator
