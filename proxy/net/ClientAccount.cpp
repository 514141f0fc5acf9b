#include "proxy/net/ClientAccount.h"

#include <algorithm>
#include <utility>

namespace MuxProxy {

std::chrono::milliseconds Allowance::Wait(Clock::time_point now) {
    const std::int64_t earned = (now - counted_) / period_;
    counted_ += earned * period_;
    left_ = std::min(most_, left_ + earned);
    return left_ > 0 ? std::chrono::milliseconds(0) : (1 - left_) * period_;
}

ClientAccount::ClientAccount(Clock::time_point now)
    : requests_(kRequestsPerSecond, std::chrono::milliseconds(1000 / kRequestsPerSecond), now),
      rows_(60, std::chrono::seconds(3), now) {}

void ClientAccount::Spend(std::size_t bytes, bool isRefused) {
    requests_.Spend((isRefused ? kCostOfRefused : 1) + static_cast<std::int64_t>(bytes / kBytesOfARequest));
}

bool ClientAccount::AddPending(std::size_t bytes) {
    if (bytes > kMostPending - pending_) {
        return false;
    }
    pending_ += bytes;
    return true;
}

bool ClientAccount::MayHaveRow() {
    const bool isLeft = rows_.Wait(Clock::now()).count() == 0;
    isLeft ? rows_.Spend(1) : static_cast<void>(++withoutRow_);
    return isLeft;
}

std::size_t ClientAccount::TakeWithoutRow() {
    return std::exchange(withoutRow_, 0);
}

}  // namespace MuxProxy
