#include "tools/muxctl/CardCollector.h"

namespace Muxctl {

CardList& CardCollector::ListOf(const MuxClient::LockAddress& lock) {
    const auto [entry, isNew] = indexes_.emplace(Lock{lock.gateway, lock.lock}, result_.lists.size());
    if (isNew) {
        result_.lists.push_back({lock, true, {}});
    }
    return result_.lists.at(entry->second);
}

void CardCollector::Add(const MuxClient::LockAddress& lock, const ListedCard& card) {
    const auto [first, isNew] =
        places_.emplace(std::make_pair(Lock{lock.gateway, lock.lock}, BytesAtGateway(card.card)), card.place);
    if (isNew) {
        ListOf(lock).cards.push_back(card);
    } else {
        Refuse(card.place + ": same card as " + first->second);
    }
}

}  // namespace Muxctl
