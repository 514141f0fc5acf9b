#pragma once

#include <CLI/CLI.hpp>

#include "tools/muxctl/AddressOptions.h"
#include "tools/muxctl/Options.h"

namespace Muxctl {

// The options of commands that send more than one request. The values must outlive the parser.

// What belongs to a card beside its bytes.
void AddCardDetails(CLI::App& command, MuxClient::Card& card);

void AddHealthOptions(CLI::App& command, Options& options, GatewayOption& gateway);
void AddBatchOptions(CLI::App& command, Options& options);
// Those of whitelist check, and those that only load has.
void AddCardFileOptions(CLI::App& command, Options& options, GatewayOption& gateway, LockListOption& locks);
void AddLoadOptions(CLI::App& command, Options& options);

}  // namespace Muxctl
