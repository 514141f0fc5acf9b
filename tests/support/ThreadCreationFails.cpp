#include "tests/support/ThreadCreationFails.h"

#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <limits>

namespace Testing {
namespace {

constexpr int kUnlimited = std::numeric_limits<int>::max();

std::atomic<int> allowedThreads{kUnlimited};

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

int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*procedure)(void*),
                          void* argument);
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*procedure)(void*),
                          void* argument) {
    return TakeAllowedThread() ? __real_pthread_create(thread, attributes, procedure, argument) : EAGAIN;
}

}  // extern "C"

ThreadCreationFails::ThreadCreationFails(int allowed) {
    allowedThreads = allowed;
}

ThreadCreationFails::~ThreadCreationFails() {
    allowedThreads = kUnlimited;
}

}  // namespace Testing
