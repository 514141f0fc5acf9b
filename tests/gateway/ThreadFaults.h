#pragma once

#include <ctime>

namespace Testing {

// Makes calls of the thread library fail, as they do when resources run out, or take long. The test program is linked
// so that the program's own calls come here first (--wrap); those of the C++ library do not.

// While it lives, every timed lock in the process times out.
class TimedLocksFail {
  public:
    TimedLocksFail();
    ~TimedLocksFail();
    TimedLocksFail(const TimedLocksFail&) = delete;
    TimedLocksFail& operator=(const TimedLocksFail&) = delete;
};

// The seconds of the deadline with which a timed lock was asked for last, by any thread.
std::time_t LastLockDeadline();

// Whether the calling thread holds a mutex that it took with a timed lock, as the program's guards do.
bool HoldsTimedLock();

// How many such mutexes all threads hold together.
int HeldTimedLocks();

// From now on the calling thread pauses after each unlocking of a mutex, or no longer does: other threads that wait
// for the mutex get it then.
void PauseAfterUnlocks(bool pause);

}  // namespace Testing
