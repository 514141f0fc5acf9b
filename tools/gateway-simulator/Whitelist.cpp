#include "tools/gateway-simulator/Whitelist.h"

#include <algorithm>

namespace Simulator {

Result Whitelist::Add(const Entry& entry) {
    if (const Result fit = Fits(entry); fit != Result::kOk) {
        return fit;
    }
    if (Find(entry.card) != entries_.end()) {
        return Result::kAlreadyInWhitelist;
    }
    if (entries_.size() >= capacity_) {
        return Result::kWhitelistFull;
    }
    entries_.push_back(entry);
    return Result::kOk;
}

Result Whitelist::Remove(const Entry& entry) {
    if (const Result fit = Fits(entry); fit != Result::kOk) {
        return fit;
    }
    const auto found = Find(entry.card);
    if (found == entries_.end()) {
        return Result::kNotInWhitelist;
    }
    entries_.erase(found);
    return Result::kOk;
}

Result Whitelist::Fits(const Entry& entry) const {
    if (setupNumber_ && *setupNumber_ != entry.setupNumber) {
        return Result::kSetupNumberMismatch;
    }
    if (entry.card.empty() || (cardLength_ && *cardLength_ != entry.card.size())) {
        return Result::kDataLengthMismatch;
    }
    return Result::kOk;
}

std::vector<Whitelist::Entry>::iterator Whitelist::Find(const Bytes& card) {
    return std::find_if(entries_.begin(), entries_.end(), [&](const Entry& entry) { return entry.card == card; });
}

}  // namespace Simulator
