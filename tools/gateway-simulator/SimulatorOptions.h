#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tools/gateway-simulator/Lock.h"
#include "tools/gateway-simulator/Observer.h"
#include "tools/gateway-simulator/WhitelistStore.h"

namespace Simulator {

// What a gateway begins with.
struct SimulatorOptions {
    // Address to listen on, or a host name: then on all of its addresses.
    std::string host = "127.0.0.1";
    // 0 takes any free port.
    std::uint16_t port = 0;
    // Addresses of its locks; one that is named twice is one lock.
    std::vector<std::uint32_t> locks;
    // Room in each lock's whitelist.
    std::size_t whitelistCapacity = Lock::kDefaultCapacity;
    // Sequence counter: the first request accepted has the next one.
    std::uint32_t counter = 1000;
    // May be null; otherwise must remain live as long as the gateway.
    Observer* observer = nullptr;
    // Locks with their own initial state, besides those above.
    std::vector<Lock> preparedLocks = {};
    // May be null; otherwise must remain live as long as the gateway.
    WhitelistStore* whitelists = nullptr;
};

}  // namespace Simulator
