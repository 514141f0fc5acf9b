#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "gateway/VirtualGateway.h"

namespace Mux {

// A lock as the configuration names it.
struct ConfiguredDevice {
    std::int32_t gatewayID = 0;
    std::string name;
};

// The gateways of one configuration. Built once and then only read, so that every thread may keep its own hold of it
// while a new configuration replaces it.
struct GatewayCollections {
    // In the order of the configuration.
    std::vector<std::shared_ptr<Brenk::VirtualGateway>> gateways;
    // By gateway ID; of gateways with the same ID the first.
    std::map<std::int32_t, std::shared_ptr<Brenk::VirtualGateway>> gatewaysByID;
    // By device address; of devices with the same address the first.
    std::map<std::int32_t, ConfiguredDevice> devices;
};

}  // namespace Mux
