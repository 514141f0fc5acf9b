#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace Muxctl {

// Texts about a command line that the parser refused, or that asks for help. For one thread.

// What is wrong, without the end of the line: a long option with one dash, or the first word that no command knows,
// with the nearest one that it does, or else the parser's own reason. `app` is the program's parser after `error`,
// which had parsed `words`.
std::string UsageFault(const CLI::App& app, const CLI::ParseError& error, const std::vector<std::string>& words);

// The command that was called, as in "muxctl whitelist add"; "muxctl" before the first.
std::string CalledCommandName(const CLI::App& app);

// The help of the command that these words name, and that of the program for none. Throws UsageError if there is no
// such command, with the nearest.
std::string HelpOfCommand(const CLI::App& app, const std::vector<std::string>& words);

}  // namespace Muxctl
