#include "benchmarks/load/ProcessFigures.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <future>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <vector>

#include "benchmarks/load/Clock.h"
#include "tests/support/LoopbackSocket.h"

namespace Load {
namespace {

// No process has it: the kernel numbers them below.
constexpr pid_t kNoProcess = 1 << 22;

TEST(ProcessFiguresTest, CpuTimeCountsWhatThreadsUsedThatHaveEnded) {
    const std::chrono::nanoseconds before = CpuTimeOf(getpid());
    std::thread worker([] {
        const std::chrono::nanoseconds start = CpuTimeOf(getpid());
        while (CpuTimeOf(getpid()) - start < std::chrono::milliseconds(5)) {
        }
    });
    worker.join();
    EXPECT_GE(CpuTimeOf(getpid()) - before, std::chrono::milliseconds(5));
}

TEST(ProcessFiguresTest, ThreadsThatEndMeanwhileAreNoError) {
    std::atomic<bool> goesOn{true};
    std::thread ending([&] {
        while (goesOn) {
            std::thread([] {}).join();
        }
    });
    for (int count = 0; count < 2000; ++count) {
        EXPECT_NO_THROW(ThreadsOf(getpid()));
    }
    goesOn = false;
    ending.join();
}

TEST(ProcessFiguresTest, TouchedPagesAreResident) {
    const MemoryUse before = MemoryOf(getpid());
    const std::vector<char> touched(std::size_t{8} << 20U, 'x');
    const MemoryUse after = MemoryOf(getpid());
    EXPECT_EQ(touched.back(), 'x');
    EXPECT_GE(after.residentKib, before.residentKib + 8000);
    // The shares in pages of the program fall when another one of its processes begins.
    EXPECT_GE(after.proportionalKib, 8000U);
    EXPECT_LE(after.proportionalKib, after.residentKib);
}

TEST(ProcessFiguresTest, AProcessThatIsNotThereIsAnError) {
    EXPECT_THROW(CpuTimeOf(kNoProcess), std::system_error);
    EXPECT_THROW(ThreadsOf(kNoProcess), std::system_error);
    EXPECT_THROW(MemoryOf(kNoProcess), std::runtime_error);
    EXPECT_THROW(DescriptorCountOf(kNoProcess), std::system_error);
}

}  // namespace
}  // namespace Load
