#include "benchmarks/load/PinnedProcess.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <future>
#include <system_error>
#include <thread>

namespace Load {
namespace {

cpu_set_t CpusOfThisThread() {
    cpu_set_t cpus;
    EXPECT_EQ(sched_getaffinity(0, sizeof cpus, &cpus), 0);
    return cpus;
}

TEST(PinnedProcessTest, EveryThreadStaysOnOneCpuOfThoseItMayUseUntilItIsReleased) {
    const cpu_set_t before = CpusOfThisThread();
    std::promise<void> isPinned;
    std::promise<cpu_set_t> seen;
    std::thread other([&] {
        isPinned.get_future().wait();
        seen.set_value(CpusOfThisThread());
    });
    {
        const PinnedProcess pinned(getpid());
        isPinned.set_value();
        const cpu_set_t here = CpusOfThisThread();
        const cpu_set_t there = seen.get_future().get();
        EXPECT_EQ(CPU_COUNT(&here), 1);
        EXPECT_TRUE(CPU_EQUAL(&here, &there));
        cpu_set_t allowed;
        CPU_AND(&allowed, &here, &before);
        EXPECT_EQ(CPU_COUNT(&allowed), 1);
    }
    other.join();
    const cpu_set_t after = CpusOfThisThread();
    EXPECT_TRUE(CPU_EQUAL(&before, &after));
}

TEST(PinnedProcessTest, AProcessThatIsNotThereIsAnError) {
    constexpr pid_t kNoProcess = 1 << 22;
    EXPECT_THROW(PinnedProcess{kNoProcess}, std::system_error);
}

}  // namespace
}  // namespace Load
