#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "mux/configuration/DeviceConfiguration.h"

namespace Mux::Configuration {

// One lock gateway and the locks attached to it, in the order of the configuration.
struct GatewayConfiguration {
    // The number that client requests give as "gatewayID".
    std::int32_t id = 0;
    std::string description;
    // Name or address, as the connection is to resolve it.
    std::string ipAddress;
    // TCP port of the gateway.
    std::int32_t port = 0;
    std::vector<DeviceConfiguration> devices;
};

}  // namespace Mux::Configuration
