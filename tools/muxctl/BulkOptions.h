#pragma once

#include <CLI/CLI.hpp>

#include "tools/muxctl/AddressOptions.h"
#include "tools/muxctl/Options.h"

namespace Muxctl {

// The options of commands that send more than one request. The values must outlive the parser.

// --lock, which takes a list such as "5,6,7".
CLI::Option* AddLocks(CLI::App& command, RequestOptions& request);

void AddHealthOptions(CLI::App& command, Options& options, GatewayOption& gateway);
void AddBatchOptions(CLI::App& command, Options& options);

}  // namespace Muxctl
