#pragma once

#include <cstdint>
#include <string>

namespace Mux::Configuration {

// One lock attached to a gateway.
struct DeviceConfiguration {
    std::string name;
    // The lock's device address; the number that client requests give as "lockID".
    std::int32_t id = 0;
};

}  // namespace Mux::Configuration
