#include "tests/threading/PthreadCalls.h"

#include <pthread.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <map>

#ifdef __SANITIZE_THREAD__
#include <sanitizer/tsan_interface.h>
#endif

namespace Testing {
namespace {

struct Watch {
    std::uintptr_t begin = 0;
    std::uintptr_t end = 0;
    std::vector<std::string> names;
    std::map<std::string, int> results;
    timespec deadline = {};
};

// A plain pointer per thread: the calls come also before and after there are objects of this program.
thread_local Watch* watch = nullptr;

bool IsWatched(const void* object) {
    const auto address = reinterpret_cast<std::uintptr_t>(object);
    return watch != nullptr && address >= watch->begin && address < watch->end;
}

// Notes the call. Returns the result that it shall have, or `otherwise()`.
template <typename Call>
int Note(bool watched, const char* name, Call otherwise) {
    if (!watched) {
        return otherwise();
    }
    watch->names.emplace_back(name);
    const auto found = watch->results.find(name);
    return found == watch->results.end() ? otherwise() : found->second;
}

// ThreadSanitizer does not know that a timed lock which finds a dead owner has locked, and so would take its unlocking
// for an error.
void TellRaceDetector([[maybe_unused]] pthread_mutex_t* mutex, [[maybe_unused]] int timedLockResult) {
#ifdef __SANITIZE_THREAD__
    if (timedLockResult == EOWNERDEAD) {
        __tsan_mutex_pre_lock(mutex, __tsan_mutex_try_lock);
        __tsan_mutex_post_lock(mutex, __tsan_mutex_try_lock, 0);
    }
#endif
}

// The same for a lock. One that finds a dead owner takes the mutex nevertheless.
template <typename Call>
int NoteLock(pthread_mutex_t* mutex, const char* name, Call lock) {
    bool locked = false;
    const int reported = Note(IsWatched(mutex), name, [&] {
        locked = true;
        return lock();
    });
    if (reported == EOWNERDEAD && !locked) {
        lock();
    }
    return reported;
}

}  // namespace

PthreadCalls::PthreadCalls(const void* object, std::size_t size) {
    const auto begin = reinterpret_cast<std::uintptr_t>(object);
    watch = new Watch{begin, begin + size, {}, {}, {}};
}

PthreadCalls::~PthreadCalls() {
    delete watch;
    watch = nullptr;
}

void PthreadCalls::Fail(const std::string& call, int result) {
    watch->results[call] = result;
}

const std::vector<std::string>& PthreadCalls::Names() const {
    return watch->names;
}

int PthreadCalls::Count(const std::string& call) const {
    return static_cast<int>(std::count(watch->names.begin(), watch->names.end(), call));
}

timespec PthreadCalls::Deadline() const {
    return watch->deadline;
}

extern "C" {

int __real_pthread_mutexattr_init(pthread_mutexattr_t* attributes);
int __wrap_pthread_mutexattr_init(pthread_mutexattr_t* attributes) {
    return Note(IsWatched(attributes), "mutexattr_init", [&] { return __real_pthread_mutexattr_init(attributes); });
}

int __real_pthread_mutexattr_settype(pthread_mutexattr_t* attributes, int type);
int __wrap_pthread_mutexattr_settype(pthread_mutexattr_t* attributes, int type) {
    const char* const name = type == PTHREAD_MUTEX_ERRORCHECK ? "mutexattr_settype errorcheck" : "mutexattr_settype";
    return Note(IsWatched(attributes), name, [&] { return __real_pthread_mutexattr_settype(attributes, type); });
}

int __real_pthread_mutexattr_setrobust(pthread_mutexattr_t* attributes, int robustness);
int __wrap_pthread_mutexattr_setrobust(pthread_mutexattr_t* attributes, int robustness) {
    const char* const name = robustness == PTHREAD_MUTEX_ROBUST ? "mutexattr_setrobust robust" : "mutexattr_setrobust";
    return Note(IsWatched(attributes), name,
                [&] { return __real_pthread_mutexattr_setrobust(attributes, robustness); });
}

int __real_pthread_mutexattr_destroy(pthread_mutexattr_t* attributes);
int __wrap_pthread_mutexattr_destroy(pthread_mutexattr_t* attributes) {
    return Note(IsWatched(attributes), "mutexattr_destroy",
                [&] { return __real_pthread_mutexattr_destroy(attributes); });
}

int __real_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes);
int __wrap_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes) {
    return Note(IsWatched(mutex), IsWatched(attributes) ? "mutex_init with attributes" : "mutex_init",
                [&] { return __real_pthread_mutex_init(mutex, attributes); });
}

int __real_pthread_mutex_destroy(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_destroy(pthread_mutex_t* mutex) {
    return Note(IsWatched(mutex), "mutex_destroy", [&] { return __real_pthread_mutex_destroy(mutex); });
}

int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
    return NoteLock(mutex, "mutex_lock", [&] { return __real_pthread_mutex_lock(mutex); });
}

int __real_pthread_mutex_timedlock(pthread_mutex_t* mutex, const timespec* deadline);
int __wrap_pthread_mutex_timedlock(pthread_mutex_t* mutex, const timespec* deadline) {
    if (IsWatched(mutex)) {
        watch->deadline = *deadline;
    }
    return NoteLock(mutex, "mutex_timedlock", [&] {
        const int result = __real_pthread_mutex_timedlock(mutex, deadline);
        TellRaceDetector(mutex, result);
        return result;
    });
}

int __real_pthread_mutex_unlock(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex) {
    bool unlocked = false;
    const int reported = Note(IsWatched(mutex), "mutex_unlock", [&] {
        unlocked = true;
        return __real_pthread_mutex_unlock(mutex);
    });
    if (!unlocked) {
        // A robust mutex that stayed locked would be walked when the thread ends, wherever its memory is by then.
        __real_pthread_mutex_unlock(mutex);
    }
    return reported;
}

int __real_pthread_mutex_consistent(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_consistent(pthread_mutex_t* mutex) {
    return Note(IsWatched(mutex), "mutex_consistent", [&] { return __real_pthread_mutex_consistent(mutex); });
}

int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*procedure)(void*),
                          void* argument);
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*procedure)(void*),
                          void* argument) {
    return Note(watch != nullptr, attributes == nullptr ? "create" : "create with attributes",
                [&] { return __real_pthread_create(thread, attributes, procedure, argument); });
}

int __real_pthread_detach(pthread_t thread);
int __wrap_pthread_detach(pthread_t thread) {
    return Note(watch != nullptr, thread != 0 ? "detach" : "detach of no thread",
                [&] { return __real_pthread_detach(thread); });
}

int __real_pthread_join(pthread_t thread, void** result);
int __wrap_pthread_join(pthread_t thread, void** result) {
    return Note(watch != nullptr, "join", [&] { return __real_pthread_join(thread, result); });
}

int __real_pthread_cancel(pthread_t thread);
int __wrap_pthread_cancel(pthread_t thread) {
    return Note(watch != nullptr, thread != 0 ? "cancel" : "cancel of no thread",
                [&] { return __real_pthread_cancel(thread); });
}

}  // extern "C"

}  // namespace Testing
