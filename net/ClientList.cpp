#include "net/ClientList.h"

#include <iterator>

namespace Brenk::Net {

void ClientList::Add(const ClientPointer& client) {
    // All or nothing, also when memory runs out.
    Clients added = {client};
    byDescriptor_.insert_or_assign(client->Descriptor(), added.cbegin());
    clients_.splice(clients_.cend(), added);
    ++version_;
}

bool ClientList::Remove(const ClientPointer& client) {
    if (client == nullptr || Find(client->Descriptor()) != client) {
        return false;
    }
    const auto position = byDescriptor_.find(client->Descriptor());
    clients_.erase(position->second);
    byDescriptor_.erase(position);
    ++version_;
    return true;
}

ClientPointer ClientList::Find(int descriptor) const {
    const auto position = byDescriptor_.find(descriptor);
    return position == byDescriptor_.end() ? nullptr : *position->second;
}

void ClientList::CopyTo(std::vector<ClientPointer>& clients) const {
    clients.assign(clients_.begin(), clients_.end());
}

std::vector<ClientIdentity> ClientList::Identities() const {
    std::vector<ClientIdentity> identities;
    identities.reserve(clients_.size());
    for (const ClientPointer& client : clients_) {
        identities.push_back(client->Identity());
    }
    return identities;
}

}  // namespace Brenk::Net
