#include "tests/mux/RobustMutexes.h"

#include <pthread.h>

#include <atomic>

namespace Testing {
namespace {

std::atomic<int> robustMutexes{0};

}  // namespace

int RobustMutexes() {
    return robustMutexes;
}

extern "C" {

// The linker sends the calls of pthread_mutexattr_setrobust() here.
int __real_pthread_mutexattr_setrobust(pthread_mutexattr_t* attributes, int robustness);
int __wrap_pthread_mutexattr_setrobust(pthread_mutexattr_t* attributes, int robustness) {
    robustMutexes += robustness == PTHREAD_MUTEX_ROBUST ? 1 : 0;
    return __real_pthread_mutexattr_setrobust(attributes, robustness);
}
}

}  // namespace Testing
