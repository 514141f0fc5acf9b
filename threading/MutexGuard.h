#pragma once

#include <pthread.h>

#include <memory>
#include <string>

namespace Threading {

// The scoped lock that code takes around its work on a shared queue or list.
//
// A guard locks and unlocks its own copy of the mutex. Guards of one Mutex therefore never exclude each other: they
// keep the places, time-outs and log lines of the locking, and nothing more. A guard belongs to one thread.
class MutexGuard {
  public:
    // Not locked, without a name.
    MutexGuard() = default;

    // Not locked.
    explicit MutexGuard(std::string name);

    // Copies the mutex object and the name. With `lockNow` calls Lock(timeoutMs), or Lock() when that is 0.
    MutexGuard(pthread_mutex_t mutex, std::string name, bool lockNow, int timeoutMs);

    // A copy copies the mutex object once more; it does not hold what the original holds.
    MutexGuard(const MutexGuard& other);
    MutexGuard& operator=(const MutexGuard& other);

    // Unlocks if locked.
    ~MutexGuard();

    // Locks without a time-out. True when locked, also when it was before; false, with a line, on any failure.
    bool Lock();

    // Locks with the deadline of `timeoutMs` seconds after the epoch, which is always past: takes a free mutex and
    // fails at once on a held one. Below 1 it waits without a deadline. Recovers a mutex whose owner died. False when
    // the guard is locked already or the mutex could not be taken (with a line); throws std::system_error when a
    // dead owner's mutex cannot be made consistent.
    bool Lock(int timeoutMs);

    // False when not locked; otherwise unlocks and returns true.
    bool Release();

  private:
    friend class Mutex;
    using SharedName = std::shared_ptr<const std::string>;

    enum class State {
        kUnlocked,
        kLocked,
        kHeldElsewhere,  // the copy was made from a mutex that this thread holds elsewhere: there is nothing to unlock
    };

    MutexGuard(pthread_mutex_t mutex, SharedName name);

    int LockCopy(int timeoutMs);
    bool Reclaim();
    void UnlockCopy();

    State state_ = State::kUnlocked;
    SharedName name_ = std::make_shared<const std::string>();
    pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
};

}  // namespace Threading
