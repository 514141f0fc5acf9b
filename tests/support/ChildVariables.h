#pragma once

#include <string>
#include <utility>
#include <vector>

namespace Testing {

// What a process is started with, in the form in which the system takes it. For tests while they have one thread that
// touches the environment.

// This process's environment variables as "NAME=value", with each of these on top of them, or in place of one that has
// the same name; the last of a name counts.
std::vector<std::string> VariablesWith(const std::vector<std::pair<std::string, std::string>>& others);

// Pointers to each of the texts and a null behind them; good as long as nobody touches the texts.
std::vector<char*> PointersTo(std::vector<std::string>& texts);

}  // namespace Testing
