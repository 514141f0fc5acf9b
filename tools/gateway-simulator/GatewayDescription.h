#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "tools/gateway-simulator/SimulatorOptions.h"

namespace Simulator {

// The port that gateways usually have.
constexpr std::uint16_t kGatewayPort = 2101;

// One gateway to simulate.
struct GatewayDescription {
    std::int32_t id = 1;
    // For people only; may be empty.
    std::string name;
    SimulatorOptions options;
    // Names of locks, by address; for people only.
    std::map<std::uint32_t, std::string> lockNames;
    // Path of the file that keeps the whitelists, empty for none.
    std::string whitelistFile;
};

}  // namespace Simulator
