#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>

namespace MuxProxy {

// How often each network may try: kAtOnce times at once, and once more every kBetween. At most kMost are remembered;
// the one that has the most tries left makes room for another.
//
// Has no clock: each call says what time it is, never an earlier one than before. For one thread.
class TryRates {
  public:
    using Time = std::chrono::steady_clock::time_point;

    static constexpr int kAtOnce = 10;
    static constexpr std::chrono::seconds kBetween{6};
    static constexpr std::size_t kMost = 10000;

    // Takes a try; or says when there is one.
    std::optional<Time> Take(const std::string& network, Time now);

    std::size_t Count() const { return fullAt_.size(); }

  private:
    void Forget(Time now);

    // When each network has all its tries again, and the same by time.
    std::map<std::string, Time> fullAt_;
    std::set<std::pair<Time, std::string>> byTime_;
};

}  // namespace MuxProxy
