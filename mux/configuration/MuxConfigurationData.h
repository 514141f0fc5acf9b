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

// The configuration: whether the Mux connects gateways, and which ones, in the order of the file. Values are kept as
// given and not checked.
struct MuxConfigurationData {
    bool enabled = false;
    std::vector<GatewayConfiguration> gateways;
};

}  // namespace Mux::Configuration
