#pragma once

#include <istream>
#include <string>
#include <vector>

#include "tools/gateway-simulator/Step.h"

namespace Simulator {

// Reads a script, one command a line; blank lines and comments after # are ignored. Throws CommandError for the first
// line that is not a command, with name and line number: "night.txt:3: ...".
std::vector<Step> ReadScript(std::istream& script, const std::string& name);

// The same from a file. Throws CommandError also when the file cannot be read.
std::vector<Step> LoadScript(const std::string& path);

}  // namespace Simulator
