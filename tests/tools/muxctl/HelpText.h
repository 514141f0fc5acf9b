#pragma once

#include <set>
#include <string>
#include <vector>

namespace Muxctl {

// What the program says of itself in its help, so that completion and manual can be held against it.

// Every command, with the second word where there is one: {"status"}, {"whitelist", "add"}, ...
std::vector<std::vector<std::string>> Commands();

// The long options that the help of this command lists; without a command, those of all commands.
std::set<std::string> OptionsOf(const std::vector<std::string>& command);

}  // namespace Muxctl
