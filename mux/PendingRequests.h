#pragma once

#include <cstddef>
#include <map>
#include <string>

#include "mux/MuxRequestRecord.h"
#include "threading/Mutex.h"
#include "threading/MutexGuard.h"
#include "threading/Synchronized.h"

namespace Mux {

// The requests that a gateway has and has not answered, by their MessageID. Owns their records and gives each out once.
//
// Of requests with the same ID the first is kept. Any thread. Safe without the guard, which callers take for its
// time-out and its log lines.
class PendingRequests {
  public:
    // `mutexName` is the name in the log of the mutex that guards are made of.
    explicit PendingRequests(const char* mutexName);

    // A guard of the list's mutex, not locked.
    Threading::MutexGuard NewGuard() const;

    // Destroys the mutex: after that no guard can be locked.
    void DestroyMutex();

    // Takes `record`, which must have a message, over. False when a request with its ID is pending already; then, and
    // when memory lacks and this throws, `record` stays the caller's.
    bool Add(RecordPointer& record);

    // Takes the record back that was added as `added`. Null when it is not there any more: a gateway's late answer to
    // an older request of this ID has ended it.
    RecordPointer TakeBack(const MuxRequestRecord* added, const std::string& messageID);

    // Takes the record with this ID out; null when there is none.
    RecordPointer Take(const std::string& messageID);

    std::size_t Count() const;

  private:
    Threading::Mutex mutex_;
    Threading::Synchronized<std::map<std::string, RecordPointer>> records_;
};

}  // namespace Mux
