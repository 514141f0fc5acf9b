#pragma once

#include <istream>
#include <string>
#include <vector>

#include "tools/gateway-simulator/Step.h"

namespace Simulator {

// Reads a script, one command a line, blank lines and everything behind # left out. Throws CommandError for the
// first line that is no command, with the name and the line's number in front, as in "night.txt:3: ...".
std::vector<Step> ReadScript(std::istream& script, const std::string& name);

// The same from a file. Throws CommandError also when the file cannot be read.
std::vector<Step> LoadScript(const std::string& path);

}  // namespace Simulator
