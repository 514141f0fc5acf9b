#include "net/ClientTable.h"

namespace Brenk::Net {

ClientTable::ClientTable() : mutex_("clientsListMutex", true, true) {}

ClientPointer ClientTable::NewClient(int descriptor) {
    return std::make_shared<ClientConnection>(descriptor, ++lastSerial_, budget_);
}

void ClientTable::Add(const ClientPointer& client) {
    clients_.With([&](ClientList& clients) { clients.Add(client); });
}

bool ClientTable::Remove(const ClientPointer& client) {
    return clients_.With([&](ClientList& clients) { return clients.Remove(client); });
}

ClientPointer ClientTable::Find(int descriptor) const {
    return clients_.With([descriptor](const ClientList& clients) { return clients.Find(descriptor); });
}

ClientPointer ClientTable::Find(const ClientIdentity& client) const {
    const ClientPointer found = Find(client.descriptor);
    return found != nullptr && found->Identity().serial == client.serial ? found : nullptr;
}

std::vector<ClientIdentity> ClientTable::Identities() const {
    return clients_.With([](const ClientList& clients) { return clients.Identities(); });
}

std::uint64_t ClientTable::CopyNewer(std::uint64_t version, std::vector<ClientPointer>& clients) const {
    return clients_.With([&](const ClientList& list) {
        if (list.Version() != version) {
            list.CopyTo(clients);
        }
        return list.Version();
    });
}

}  // namespace Brenk::Net
