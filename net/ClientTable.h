#pragma once

#include <cstdint>
#include <vector>

#include "net/ClientList.h"
#include "net/PendingOutput.h"
#include "threading/Mutex.h"
#include "threading/MutexGuard.h"
#include "threading/Synchronized.h"

namespace Brenk::Net {

// The connected clients of a server socket, their serial numbers, and the budget of their pending output. Any thread,
// unless noted otherwise.
//
// Each access is safe by itself. For the prescribed mutex around several, take a guard, which excludes nobody.
class ClientTable {
  public:
    // Logs the making of the mutex.
    ClientTable();

    // For the mutex "clientsListMutex", not locked yet.
    Threading::MutexGuard NewGuard() const { return mutex_.NewGuard(); }

    // A client that is not in the table yet, with a serial number of its own; takes over the descriptor unless it
    // throws std::bad_alloc. Accept thread.
    ClientPointer NewClient(int descriptor);

    void Add(const ClientPointer& client);

    // False when this very client is not in the table; null never is.
    bool Remove(const ClientPointer& client);

    // Null if no client has this number, or another one has it now.
    ClientPointer Find(int descriptor) const;
    ClientPointer Find(const ClientIdentity& client) const;

    // In the order in which they came.
    std::vector<ClientIdentity> Identities() const;

    // Replaces what is in `clients` unless `version` is that of the table now; returns the latter.
    std::uint64_t CopyNewer(std::uint64_t version, std::vector<ClientPointer>& clients) const;

    OutputBudget& Budget() { return budget_; }

  private:
    Threading::Mutex mutex_;
    OutputBudget budget_;  // outlives the clients
    Threading::Synchronized<ClientList> clients_;
    std::uint64_t lastSerial_ = 0;  // accept thread only
};

}  // namespace Brenk::Net
