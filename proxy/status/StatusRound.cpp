#include "proxy/status/StatusRound.h"

#include <algorithm>

namespace MuxProxy {

StatusRound::StatusRound(const std::vector<MuxClient::LockAddress>& locks, std::chrono::seconds period, Time now)
    : period_(period) {
    const auto between = period_ / static_cast<std::int64_t>(std::max<std::size_t>(locks.size(), 1));
    for (const MuxClient::LockAddress& address : locks) {
        const auto number = static_cast<std::int64_t>(locks_.size() + 1);
        locks_.push_back({address, now + std::min<Duration>(between, kBetweenFirst) * number, now + between * number});
    }
}

Time StatusRound::PlaceAfter(const Lock& lock, Time time) const {
    const std::int64_t rounds = std::max<std::int64_t>((time - lock.place) / period_, 0);
    const Time place = lock.place + rounds * period_;
    return place > time ? place : place + period_;
}

std::optional<MuxClient::LockAddress> StatusRound::Next(Time now, const IsFree& isFree) {
    if (asked_ != nullptr) {
        return std::nullopt;
    }
    for (Lock& lock : locks_) {
        if (lock.due <= now && (asked_ == nullptr || lock.due < asked_->due) && isFree(lock.address.gateway)) {
            asked_ = &lock;
        }
    }
    return asked_ == nullptr ? std::nullopt : std::make_optional(asked_->address);
}

void StatusRound::Ended(Outcome outcome, Time now) {
    Lock& lock = *asked_;
    asked_ = nullptr;
    switch (outcome) {
        case Outcome::kAnswered:
            lock.unanswered = 0;
            lock.due = PlaceAfter(lock, now + period_ / 2);
            break;
        case Outcome::kUnanswered:
            ++lock.unanswered;
            lock.due = lock.unanswered < kMostUnanswered ? PlaceAfter(lock, now + period_ / 2)
                                                         : PlaceAfter(lock, now + kLeftOut);
            break;
        case Outcome::kNotAsked:
            lock.due = now + kBetweenTrials;
            break;
    }
}

std::optional<Time> StatusRound::NextTime() const {
    if (asked_ != nullptr || locks_.empty()) {
        return std::nullopt;
    }
    const auto isSooner = [](const Lock& left, const Lock& right) { return left.due < right.due; };
    return std::min_element(locks_.begin(), locks_.end(), isSooner)->due;
}

}  // namespace MuxProxy
