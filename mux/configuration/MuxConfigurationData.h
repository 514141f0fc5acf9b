#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Mux::Configuration {

// One lock attached to a gateway.
struct DeviceConfiguration {
    std::string name;
    // The lock's device address; the number that client requests give as "lockID".
    std::int32_t id = 0;
};

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

// What the Mux is told to do: whether it connects gateways at all, and which ones there are, in the order of the
// configuration. Values are kept as they were given; nothing here is checked for sense.
struct MuxConfigurationData {
    bool enabled = false;
    std::vector<GatewayConfiguration> gateways;
};

}  // namespace Mux::Configuration
