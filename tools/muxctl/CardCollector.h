#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "tools/muxctl/CardFile.h"

namespace Muxctl {

// Gathers what a reader finds in a file of cards.
//
// Not thread-safe.
class CardCollector {
  public:
    // The list of a lock, made when there is none yet. Valid until the next call.
    CardList& ListOf(const MuxClient::LockAddress& lock);
    // Adds a card, or refuses it if the gateway would take it for one that is already in the list.
    void Add(const MuxClient::LockAddress& lock, const ListedCard& card);
    void Refuse(const std::string& fault) { result_.faults.push_back(fault); }
    // There will be no cards.
    void StopBeforeCards() { result_.hasReadCards = false; }

    CardFile Take() { return std::move(result_); }

  private:
    using Lock = std::pair<std::int32_t, std::int32_t>;

    CardFile result_;
    std::map<Lock, std::size_t> indexes_;
    // Where a card was found first.
    std::map<std::pair<Lock, std::string>, std::string> places_;
};

}  // namespace Muxctl
