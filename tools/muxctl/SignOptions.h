#pragma once

#include <CLI/CLI.hpp>

#include "tools/muxctl/AddressOptions.h"
#include "tools/muxctl/Options.h"

namespace Muxctl {

// The options of the commands that sign and make keys. `options` must outlive the parser.
void AddSignOptions(CLI::App& command, Options& options, LockOptions& lock);
void AddNewKeyOptions(CLI::App& command, Options& options);

}  // namespace Muxctl
