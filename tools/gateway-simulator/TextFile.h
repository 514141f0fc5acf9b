#pragma once

#include <string>

namespace Simulator {

// All that is in a file. Throws CommandError, as in "night.txt: cannot be read"; one of more than 64 MiB cannot be.
std::string ReadTextFile(const std::string& path);

// Puts a text into a file at one stroke: whoever reads it finds what was there before or all of the text, also when the
// process ends in between. Needs a name of its own, PATH.new, meanwhile. Throws std::system_error.
void ReplaceTextFile(const std::string& path, const std::string& text);

}  // namespace Simulator
