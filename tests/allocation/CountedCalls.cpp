#include "tests/allocation/CountedCalls.h"

#include <poll.h>
#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <cerrno>

namespace {

std::atomic<std::size_t> allAllocations{0};
std::atomic<std::size_t> timedLocks{0};
std::atomic<std::size_t> socketWaits{0};
thread_local std::size_t ownAllocations = 0;

// The number of the own allocation that is to fail.
thread_local std::size_t failing = 0;

// False for an allocation that is to fail.
bool CountAllocation() {
    ++allAllocations;
    if (++ownAllocations != failing) {
        return true;
    }
    errno = ENOMEM;
    return false;
}

}  // namespace

// The names are the C library's and the linker's.
// NOLINTBEGIN(bugprone-reserved-identifier, readability-identifier-naming, cert-dcl37-c, cert-dcl51-cpp)
extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);

void* malloc(std::size_t size) noexcept {
    return CountAllocation() ? __libc_malloc(size) : nullptr;
}

void* calloc(std::size_t count, std::size_t size) noexcept {
    return CountAllocation() ? __libc_calloc(count, size) : nullptr;
}

void* realloc(void* memory, std::size_t size) noexcept {
    return CountAllocation() ? __libc_realloc(memory, size) : nullptr;
}

void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
    return CountAllocation() ? __libc_memalign(alignment, size) : nullptr;
}

int __real_pthread_mutex_timedlock(pthread_mutex_t* mutex, const timespec* deadline);
int __wrap_pthread_mutex_timedlock(pthread_mutex_t* mutex, const timespec* deadline) {
    ++timedLocks;
    return __real_pthread_mutex_timedlock(mutex, deadline);
}

int __real_poll(pollfd* descriptors, nfds_t count, int timeout);
int __wrap_poll(pollfd* descriptors, nfds_t count, int timeout) {
    ++socketWaits;
    return __real_poll(descriptors, count, std::min(timeout, 1));
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier, readability-identifier-naming, cert-dcl37-c, cert-dcl51-cpp)

namespace Testing {

FailingAllocation::FailingAllocation(std::size_t behind) {
    failing = ownAllocations + behind + 1;
}

FailingAllocation::~FailingAllocation() {
    failing = 0;
}

bool FailingAllocation::HasFailed() const {
    return ownAllocations >= failing;
}

std::size_t OwnAllocations() {
    return ownAllocations;
}

std::size_t AllocationsOfOtherThreads() {
    return allAllocations - ownAllocations;
}

std::size_t TimedLocks() {
    return timedLocks;
}

std::size_t SocketWaits() {
    return socketWaits;
}

}  // namespace Testing
