#pragma once

#include <cstddef>
#include <deque>
#include <optional>

#include "mux/MuxRequestRecord.h"
#include "threading/Mutex.h"
#include "threading/MutexGuard.h"
#include "threading/Synchronized.h"

namespace Mux {

// Records that wait for their turn: first in, first out. Owns them.
//
// Any thread may push and count. Only one thread takes, looks at the head and drops it, so the head stays where it is
// between two of its calls. Safe without the guard, which callers take for its time-out and its log lines.
class RecordQueue {
  public:
    // `mutexName` is the name in the log of the mutex that guards are made of.
    explicit RecordQueue(const char* mutexName);

    // A guard of the queue's mutex, not locked.
    Threading::MutexGuard NewGuard() const;

    // Destroys the mutex: after that no guard can be locked.
    void DestroyMutex();

    // Puts `record` at the end and returns how many records there are then. Without memory it throws, and the record
    // is freed.
    std::size_t Push(RecordPointer record);

    // Takes the head out. Null when the queue is empty.
    RecordPointer Take();

    // The head, which stays and may be null; nothing when the queue is empty.
    std::optional<MuxRequestRecord*> Head() const;

    // Frees the head of a queue that is not empty.
    void DropHead();

    std::size_t Count() const;

  private:
    Threading::Mutex mutex_;
    Threading::Synchronized<std::deque<RecordPointer>> records_;
};

}  // namespace Mux
