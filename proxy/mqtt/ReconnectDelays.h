#pragma once

#include <chrono>
#include <functional>

namespace MuxProxy {

// From 0 up to but not including 1, another one for each site and call. Any thread.
double RandomShare();

struct DelaySettings {
    std::chrono::milliseconds first = std::chrono::seconds(1);
    std::chrono::milliseconds longest = std::chrono::seconds(60);
    // A connection that lasted so long begins with the first delay again.
    std::chrono::milliseconds stable = std::chrono::seconds(60);
};

// How long to wait before connecting again: longer each time, and scattered, so that not all sites come back at once
// after their broker did. For one thread.
class ReconnectDelays {
  public:
    // As RandomShare().
    using Random = std::function<double()>;

    explicit ReconnectDelays(const DelaySettings& settings, Random random = &RandomShare);

    // Doubles with each call; a random factor of 0.5 to 1.5 is in it.
    std::chrono::milliseconds Next();
    // The connection that has ended lasted so long.
    void Lasted(std::chrono::milliseconds duration);

  private:
    const DelaySettings settings_;
    const Random random_;
    std::chrono::milliseconds next_;
};

}  // namespace MuxProxy
