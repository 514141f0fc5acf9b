#include "tests/gateway/ThreadFaults.h"

#include <pthread.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <thread>

namespace {

constexpr std::chrono::milliseconds kPause{1};

std::atomic<bool> timedLocksFail{false};
std::atomic<std::time_t> lastLockDeadline{0};
thread_local bool pausesAfterUnlocks = false;

// Of this thread, taken with a timed lock and not yet unlocked; a thread takes few one within the other.
thread_local std::array<const pthread_mutex_t*, 8> heldMutexes{};

// Of all threads. Relaxed, so that it orders nothing: a race checker would not see what the threads do unordered.
std::atomic<int> heldCount{0};

void Replace(const pthread_mutex_t* searched, const pthread_mutex_t* replacement) {
    auto* const position = std::find(heldMutexes.begin(), heldMutexes.end(), searched);
    if (position != heldMutexes.end()) {
        *position = replacement;
        heldCount.fetch_add(replacement == nullptr ? -1 : 1, std::memory_order_relaxed);
    }
}

}  // namespace

extern "C" {

int __real_pthread_mutex_timedlock(pthread_mutex_t* mutex, const timespec* deadline);
int __real_pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept;

int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
    const int result = __real_pthread_mutex_unlock(mutex);
    Replace(mutex, nullptr);
    if (pausesAfterUnlocks) {
        std::this_thread::sleep_for(kPause);
    }
    return result;
}

int __wrap_pthread_mutex_timedlock(pthread_mutex_t* mutex, const timespec* deadline) {
    lastLockDeadline = deadline->tv_sec;
    const int result = timedLocksFail ? ETIMEDOUT : __real_pthread_mutex_timedlock(mutex, deadline);
    if (result == 0) {
        Replace(nullptr, mutex);
    }
    return result;
}

}  // extern "C"

namespace Testing {

TimedLocksFail::TimedLocksFail() {
    timedLocksFail = true;
}

TimedLocksFail::~TimedLocksFail() {
    timedLocksFail = false;
}

std::time_t LastLockDeadline() {
    return lastLockDeadline;
}

bool HoldsTimedLock() {
    return std::any_of(heldMutexes.begin(), heldMutexes.end(), [](const auto* mutex) { return mutex != nullptr; });
}

int HeldTimedLocks() {
    return heldCount;
}

void PauseAfterUnlocks(bool pause) {
    pausesAfterUnlocks = pause;
}

}  // namespace Testing
