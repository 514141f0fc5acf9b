#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

#include "proxy/web/LockOuts.h"
#include "proxy/web/TryRates.h"

namespace MuxProxy {

// How often passwords may be tried: by name, by the peer's network and in all. Strangers can lock out a name again and
// again; log-in by a certificate and the sessions that exist do not come here.
//
// Has no clock: each call says what time it is, never an earlier one than before. For the network loop.
class LoginLimits {
  public:
    using Time = std::chrono::steady_clock::time_point;

    // One password that is computed, and those that wait for it.
    static constexpr std::size_t kMostUnderWay = 9;

    enum class Reason { kLockedOut, kTooMany };
    struct Refusal {
        Reason reason;
        // Until it makes sense to try again; at least 1.
        std::chrono::seconds wait;
    };

    // Whether the password of this name may be computed now; `address` is the peer's. Nothing is yes: each yes is
    // followed by one call of Ended() or Dropped() with the same name. The caller computes passwords one after the
    // other.
    std::optional<Refusal> Begin(const std::string& name, const std::string& address, Time now);
    // The password was computed.
    void Ended(const std::string& name, bool isRight, Time now);
    // It was not computed, such as for a browser that has gone.
    void Dropped(const std::string& name);

  private:
    LockOuts names_;
    TryRates networks_;
    std::size_t underWay_ = 0;
};

}  // namespace MuxProxy
