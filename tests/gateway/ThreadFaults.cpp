#include "tests/gateway/ThreadFaults.h"

#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <limits>
#include <thread>

namespace {

constexpr int kUnlimited = std::numeric_limits<int>::max();
constexpr std::chrono::milliseconds kPause{1};

std::atomic<bool> timedLocksFail{false};
std::atomic<int> allowedThreads{kUnlimited};
thread_local bool pausesAfterUnlocks = false;

bool TakeAllowedThread() {
    int allowed = allowedThreads;
    while (allowed != kUnlimited && allowed > 0) {
        if (allowedThreads.compare_exchange_weak(allowed, allowed - 1)) {
            return true;
        }
    }
    return allowed == kUnlimited;
}

}  // namespace

extern "C" {

// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the linker's names
int __real_pthread_mutex_timedlock(pthread_mutex_t* mutex, const timespec* deadline);
int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*procedure)(void*),
                          void* argument);
int __real_pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept;

int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
    const int result = __real_pthread_mutex_unlock(mutex);
    if (pausesAfterUnlocks) {
        std::this_thread::sleep_for(kPause);
    }
    return result;
}

int __wrap_pthread_mutex_timedlock(pthread_mutex_t* mutex, const timespec* deadline) {
    return timedLocksFail ? ETIMEDOUT : __real_pthread_mutex_timedlock(mutex, deadline);
}

int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*procedure)(void*),
                          void* argument) {
    return TakeAllowedThread() ? __real_pthread_create(thread, attributes, procedure, argument) : EAGAIN;
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

}  // extern "C"

namespace Testing {

TimedLocksFail::TimedLocksFail() {
    timedLocksFail = true;
}

TimedLocksFail::~TimedLocksFail() {
    timedLocksFail = false;
}

ThreadCreationFails::ThreadCreationFails(int allowed) {
    allowedThreads = allowed;
}

ThreadCreationFails::~ThreadCreationFails() {
    allowedThreads = kUnlimited;
}

void PauseAfterUnlocks(bool pause) {
    pausesAfterUnlocks = pause;
}

}  // namespace Testing
