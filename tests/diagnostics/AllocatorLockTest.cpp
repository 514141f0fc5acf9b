// A process that must end while a thread was interrupted inside the allocator. Every line of the log allocates, so none
// can be written any more; only the watchdog gets the process to its end.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <new>

#include "tests/diagnostics/EndingProcess.h"

namespace {

// The lock of an allocator whose holder never comes back to release it.
std::atomic<bool> allocatorIsLocked{false};

}  // namespace

// Inlined into their callers they would look to the compiler like memory freed by the wrong function.
[[gnu::noinline]] void* operator new(std::size_t size) {
    while (allocatorIsLocked) {
        pause();
    }
    void* const memory = std::malloc(size);
    return memory == nullptr ? throw std::bad_alloc() : memory;
}

// A log line's memory comes from here.
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    try {
        return operator new(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

[[gnu::noinline]] void operator delete(void* memory) noexcept {
    std::free(memory);
}

[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace Diagnostics {
namespace {

TEST(AllocatorLock, HeldByTheThreadThatIsInterruptedDelaysTheEndButKeepsItsStatus) {
    struct Row {
        int signalNumber;
        int status;
        const char* boundedBy;
    };
    for (const Row& row :
         {Row{SIGQUIT, 0, "\n5 seconds\n"}, Row{SIGHUP, 255, "\n5 seconds\n"}, Row{SIGABRT, 255, "\n60 seconds\n"},
          Row{SIGBUS, 255, "\n60 seconds\n"}, Row{SIGSEGV, 255, "\n60 seconds\n"}}) {
        const Testing::ChildResult result = Testing::EndingProcess().Run([&row] {
            allocatorIsLocked = true;
            raise(row.signalNumber);
        });
        EXPECT_EQ(result.exitStatus, row.status) << row.signalNumber;
        EXPECT_THAT(result.output, testing::EndsWith(row.boundedBy)) << row.signalNumber;
    }
}

}  // namespace
}  // namespace Diagnostics
