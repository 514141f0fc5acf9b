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

    // Is handed all locks after whatever may have changed a whitelist, and before the answer that tells of it; finds
    // out by itself whether one did. Called on the gateway's thread. Throws std::runtime_error when it cannot keep
    // them; the gateway goes on and tries again the next time.
    virtual void Keep(const std::vector<Lock>& locks) = 0;
};

}  // namespace Simulator
