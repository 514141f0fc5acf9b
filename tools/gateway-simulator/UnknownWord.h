#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/gateway-simulator/CommandError.h"

namespace Simulator {

// Returns the error for a word that is none of `known`: names the nearest of these, or else the command that lists
// them. `kind` is what the word should be, such as "command". Any thread may call it.
CommandError UnknownWord(const char* kind, const std::string& word, const std::vector<std::string_view>& known);

}  // namespace Simulator
