#pragma once

#include <gtest/gtest.h>
#include <pthread.h>

#include <cerrno>

#include "threading/Mutex.h"

namespace Testing {

// A POSIX mutex such as guards copy, here to be locked for real. Destroyed with the object, so that its place on the
// stack carries nothing over to the next one; it must then be unlocked.
class OriginalMutex {
  public:
    explicit OriginalMutex(const Threading::Mutex& mutex) : mutex_(mutex.GetMutex()) {}
    ~OriginalMutex() { EXPECT_EQ(pthread_mutex_destroy(&mutex_), 0); }
    OriginalMutex(const OriginalMutex&) = delete;
    OriginalMutex& operator=(const OriginalMutex&) = delete;

    int Lock() { return pthread_mutex_lock(&mutex_); }
    int TryLock() { return pthread_mutex_trylock(&mutex_); }
    int Unlock() { return pthread_mutex_unlock(&mutex_); }

    // As a guard takes it: by value.
    pthread_mutex_t Copy() const { return mutex_; }

    // Whether its owner has ended with it. It is unlocked and usable afterwards.
    bool RecoverFromDeadOwner() {
        return TryLock() == EOWNERDEAD && pthread_mutex_consistent(&mutex_) == 0 && Unlock() == 0;
    }

  private:
    pthread_mutex_t mutex_;
};

}  // namespace Testing
