#include "proxy/web/LockOuts.h"

#include <algorithm>

namespace MuxProxy {
namespace {

std::chrono::seconds LengthAfter(int wrong) {
    std::chrono::seconds length = LockOuts::kFirst;
    for (int i = LockOuts::kWrongInARow; i < wrong && length < LockOuts::kLongest; ++i) {
        length *= 2;
    }
    return std::min(length, LockOuts::kLongest);
}

}  // namespace

std::optional<LockOuts::Time> LockOuts::LockedUntil(const std::string& name, Time now) const {
    const auto found = names_.find(name);
    const bool isLocked = found != names_.end() && found->second.lockedUntil > now;
    return isLocked ? std::make_optional(found->second.lockedUntil) : std::nullopt;
}

bool LockOuts::HasTry(const std::string& name) const {
    const auto found = names_.find(name);
    return found == names_.end() || found->second.underWay < std::max(1, kWrongInARow - found->second.wrong);
}

bool LockOuts::Begin(const std::string& name, Time now) {
    auto found = names_.find(name);
    if (found == names_.end()) {
        if (names_.size() >= kMost && !MakeRoom(now)) {
            return false;
        }
        found = names_.emplace(name, Name()).first;
    }
    Update(found, [now](Name& changed) {
        ++changed.underWay;
        changed.lastTry = now;
    });
    return true;
}

void LockOuts::Ended(const std::string& name, bool isRight, Time now) {
    Update(names_.find(name), [isRight, now](Name& changed) {
        --changed.underWay;
        changed.wrong = isRight ? 0 : changed.wrong + 1;
        changed.lockedUntil = changed.wrong >= kWrongInARow ? now + LengthAfter(changed.wrong) : Time{};
    });
}

void LockOuts::Dropped(const std::string& name) {
    Update(names_.find(name), [](Name& changed) { --changed.underWay; });
}

bool LockOuts::MakeRoom(Time now) {
    const auto first = std::find_if(ranks_.begin(), ranks_.end(), [&](const Rank& rank) {
        const Name& name = names_.at(std::get<std::string>(rank));
        return name.underWay == 0 && name.lockedUntil <= now;
    });
    if (first == ranks_.end()) {
        return false;
    }
    names_.erase(std::get<std::string>(*first));
    ranks_.erase(first);
    return true;
}

// Forgets a name about which nothing is left to remember.
template <typename Change>
void LockOuts::Update(Names::iterator name, Change change) {
    ranks_.erase(RankOf(*name));
    change(name->second);
    if (name->second.wrong == 0 && name->second.underWay == 0) {
        names_.erase(name);
    } else {
        ranks_.insert(RankOf(*name));
    }
}

}  // namespace MuxProxy
