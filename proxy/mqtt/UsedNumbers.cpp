#include "proxy/mqtt/UsedNumbers.h"

#include <algorithm>

namespace MuxProxy {

UsedNumbers::Use UsedNumbers::Take(const std::string& key, const std::string& number, WallTime issued, WallTime now) {
    ForgetUntil(now - freshness_);
    if (used_.count({key, number}) > 0) {
        return Use::kReplay;
    }
    if (issued <= floor_) {
        return Use::kTooOld;
    }
    if (used_.size() >= kMost) {
        return Use::kTooMany;
    }
    used_.emplace(key, number);
    byTime_.emplace(issued, key, number);
    return Use::kFirst;
}

void UsedNumbers::RaiseFloor(WallTime floor) {
    floor_ = std::max(floor_, floor);
}

void UsedNumbers::ForgetUntil(WallTime time) {
    while (!byTime_.empty() && std::get<WallTime>(*byTime_.begin()) < time) {
        const auto& [issued, key, number] = *byTime_.begin();
        RaiseFloor(issued);
        used_.erase({key, number});
        byTime_.erase(byTime_.begin());
    }
}

}  // namespace MuxProxy
