#pragma once

#include <vector>

#include "tools/gateway-simulator/Lock.h"

namespace Simulator {

// Keeps a gateway's whitelists beyond its end.
class WhitelistStore {
  public:
    virtual ~WhitelistStore() = default;

    // Gives a lock that comes to the gateway the whitelist that is kept for it; leaves one without such alone. Called
    // on the gateway's thread, and before there is one.
    virtual void LoadInto(Lock& lock) const = 0;

    // Gets all locks after every possible change of a whitelist, before the answer that reports it, and finds out
    // whether there was one. Called on the gateway's thread. Throws std::runtime_error if it cannot write; the gateway
    // continues and retries with the next change.
    virtual void Keep(const std::vector<Lock>& locks) = 0;
};

}  // namespace Simulator
