#pragma once

#include <bitset>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "proxy/requests/RequestKinds.h"
#include "tools/client/Request.h"

namespace MuxProxy {

// Numbers of gateways or locks: all, or some ranges. A value.
class NumberSet {
  public:
    struct Range {
        std::int32_t first;
        std::int32_t last;
    };

    static NumberSet All() { return NumberSet({{INT32_MIN, INT32_MAX}}); }
    // Of ranges with first <= last.
    explicit NumberSet(std::vector<Range> ranges = {}) : ranges_(std::move(ranges)) {}

    bool Contains(std::int32_t number) const;
    // Whether it contains a number with these low 16 bits: all that an event tells of its lock.
    bool ContainsLowBits(std::uint16_t bits) const;

    const std::vector<Range>& Ranges() const { return ranges_; }

  private:
    std::vector<Range> ranges_;
};

using RightSet = std::bitset<kRightCount>;

// One rule of the configuration file. A value.
struct Rule {
    // Names of clients, as in the common name of their certificates.
    std::vector<std::string> clients;
    RightSet rights;
    NumberSet gateways;
    NumberSet locks;
};

// Who may do what. Nothing is allowed that no rule allows. Immutable; any thread.
class Rights {
  public:
    Rights() = default;
    explicit Rights(std::vector<Rule> rules) : rules_(std::move(rules)) {}

    bool Allows(const std::string& client, Right right, const MuxClient::LockAddress& lock) const;

    // Whether events of the lock with these low 16 bits are for this client.
    bool SeesEvent(const std::string& client, std::int32_t gateway, std::uint16_t lockBits) const;

    // The rules that name this client, in the order of the file; they live as long as this object does.
    std::vector<const Rule*> RulesOf(const std::string& client) const;

  private:
    std::vector<Rule> rules_;
};

}  // namespace MuxProxy
