#pragma once

#include <string>
#include <vector>

#include "tools/gateway-simulator/GatewayDescription.h"

namespace Simulator {

// Reads a file of gateways, in the shape of the Mux's own configuration with further members (docs/simulator.md). Gives
// at least one gateway. A `host` that is not empty takes the place of all addresses in the file, which may be anything
// then. Throws CommandError for a file that cannot be read or is not as it should be.
std::vector<GatewayDescription> LoadGateways(const std::string& path, const std::string& host = "");

// The same from a text. Relative names of files in it are relative to the folder of `path`.
std::vector<GatewayDescription> ReadGateways(const std::string& path, const std::string& text,
                                             const std::string& host = "");

}  // namespace Simulator
