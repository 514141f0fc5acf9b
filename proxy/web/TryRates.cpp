#include "proxy/web/TryRates.h"

#include <algorithm>

namespace MuxProxy {

std::optional<TryRates::Time> TryRates::Take(const std::string& network, Time now) {
    Forget(now);
    const auto found = fullAt_.find(network);
    const Time before = found != fullAt_.end() ? found->second : now;
    const Time after = before + kBetween;
    const Time possible = after - kAtOnce * kBetween;
    if (possible > now) {
        return possible;
    }
    if (found != fullAt_.end()) {
        byTime_.erase({before, network});
    } else if (fullAt_.size() >= kMost) {
        fullAt_.erase(byTime_.begin()->second);
        byTime_.erase(byTime_.begin());
    }
    fullAt_[network] = after;
    byTime_.emplace(after, network);
    return std::nullopt;
}

// Those with all their tries need not be remembered.
void TryRates::Forget(Time now) {
    while (!byTime_.empty() && byTime_.begin()->first <= now) {
        fullAt_.erase(byTime_.begin()->second);
        byTime_.erase(byTime_.begin());
    }
}

}  // namespace MuxProxy
