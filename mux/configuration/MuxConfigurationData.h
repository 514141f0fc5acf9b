#pragma once

#include <vector>

#include "mux/configuration/GatewayConfiguration.h"

namespace Mux::Configuration {

// What the Mux is told to do: whether it connects gateways at all, and which ones there are, in the order of the
// configuration. Values are kept as they were given; nothing here is checked for sense.
struct MuxConfigurationData {
    bool enabled = false;
    std::vector<GatewayConfiguration> gateways;
};

}  // namespace Mux::Configuration
