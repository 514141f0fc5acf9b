#include "proxy/rights/Rights.h"

#include <algorithm>

namespace MuxProxy {
namespace {

constexpr std::int64_t kLowBits = 0x10000;

// The distance from the first number of a range to the next with these low 16 bits, from 0 to 65535.
std::int64_t DistanceTo(std::uint16_t bits, std::int32_t first) {
    const auto firstBits = static_cast<std::uint16_t>(static_cast<std::uint32_t>(first));
    return (bits + kLowBits - firstBits) % kLowBits;
}

bool Names(const Rule& rule, const std::string& client) {
    return std::find(rule.clients.begin(), rule.clients.end(), client) != rule.clients.end();
}

bool Grants(const Rule& rule, const std::string& client, Right right, std::int32_t gateway) {
    return rule.rights.test(static_cast<std::size_t>(right)) && Names(rule, client) && rule.gateways.Contains(gateway);
}

}  // namespace

bool NumberSet::Contains(std::int32_t number) const {
    return std::any_of(ranges_.begin(), ranges_.end(),
                       [number](const Range& range) { return range.first <= number && number <= range.last; });
}

bool NumberSet::ContainsLowBits(std::uint16_t bits) const {
    return std::any_of(ranges_.begin(), ranges_.end(), [bits](const Range& range) {
        return range.first + DistanceTo(bits, range.first) <= std::int64_t{range.last};
    });
}

bool Rights::Allows(const std::string& client, Right right, const MuxClient::LockAddress& lock) const {
    return std::any_of(rules_.begin(), rules_.end(), [&](const Rule& rule) {
        return Grants(rule, client, right, lock.gateway) && rule.locks.Contains(lock.lock);
    });
}

bool Rights::SeesEvent(const std::string& client, std::int32_t gateway, std::uint16_t lockBits) const {
    return std::any_of(rules_.begin(), rules_.end(), [&](const Rule& rule) {
        return Grants(rule, client, Right::kEvents, gateway) && rule.locks.ContainsLowBits(lockBits);
    });
}

std::vector<const Rule*> Rights::RulesOf(const std::string& client) const {
    std::vector<const Rule*> rules;
    for (const Rule& rule : rules_) {
        if (Names(rule, client)) {
            rules.push_back(&rule);
        }
    }
    return rules;
}

}  // namespace MuxProxy
