#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "tools/gateway-simulator/Bytes.h"
#include "tools/gateway-simulator/ProtocolCodes.h"

namespace Simulator {

// The cards that one lock admits by itself. A card is known by its data; setup number and option are kept with it.
//
// A value; not thread-safe.
class Whitelist {
  public:
    struct Entry {
        std::uint8_t setupNumber = 0;
        std::uint8_t option = 0;
        Bytes card;
    };

    // Takes how many cards there is room for.
    explicit Whitelist(std::size_t capacity) : capacity_(capacity) {}

    // Both give, in this order of testing: kSetupNumberMismatch and kDataLengthMismatch when the lock demands
    // another setup number or card length (no card bytes at all never fit); then kAlreadyInWhitelist and
    // kWhitelistFull from Add, kNotInWhitelist from Remove; else kOk.
    Result Add(const Entry& entry);
    Result Remove(const Entry& entry);
    void Clear() { entries_.clear(); }

    // Oldest first.
    const std::vector<Entry>& Entries() const { return entries_; }

    std::size_t Capacity() const { return capacity_; }
    // A smaller capacity than the cards there are keeps them and refuses new ones.
    void SetCapacity(std::size_t capacity) { capacity_ = capacity; }

    // Replaces all cards, regardless of the requirements for new ones.
    void SetEntries(std::vector<Entry> entries) { entries_ = std::move(entries); }

    bool IsEnabled() const { return enabled_; }
    void SetEnabled(bool enabled) { enabled_ = enabled; }

    // Required of entries; empty means "any".
    void DemandSetupNumber(std::optional<std::uint8_t> setupNumber) { setupNumber_ = setupNumber; }
    void DemandCardLength(std::optional<std::uint8_t> cardLength) { cardLength_ = cardLength; }

  private:
    Result Fits(const Entry& entry) const;
    std::vector<Entry>::iterator Find(const Bytes& card);

    std::size_t capacity_;
    bool enabled_ = true;
    std::optional<std::uint8_t> setupNumber_;
    std::optional<std::uint8_t> cardLength_;
    std::vector<Entry> entries_;
};

}  // namespace Simulator
