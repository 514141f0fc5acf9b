#pragma once

#include <cstdint>
#include <list>
#include <unordered_map>
#include <vector>

#include "net/ClientConnection.h"

namespace Brenk::Net {

// The connected clients in the order in which they came.
//
// Clients are found by descriptor number without a search, because every request and answer does so. Numbers are unique
// in the list, because a client keeps its descriptor open while it is listed.
//
// Not thread-safe by itself; shares its clients with their current users.
class ClientList {
  public:
    void Add(const ClientPointer& client);

    // False when this very client is not in the list; null never is.
    bool Remove(const ClientPointer& client);

    // Null if no client has this number.
    ClientPointer Find(int descriptor) const;

    // A number that is another one whenever a client has come or gone; never 0.
    std::uint64_t Version() const { return version_; }

    // Replaces what is in `clients` by all clients of the list; the memory of `clients` is used again.
    void CopyTo(std::vector<ClientPointer>& clients) const;

    // Who is in the list.
    std::vector<ClientIdentity> Identities() const;

  private:
    using Clients = std::list<ClientPointer>;

    Clients clients_;
    std::unordered_map<int, Clients::const_iterator> byDescriptor_;
    std::uint64_t version_ = 1;
};

}  // namespace Brenk::Net
