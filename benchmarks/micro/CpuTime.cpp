#include "benchmarks/micro/CpuTime.h"

#include <ctime>

namespace Benchmark {
namespace {

std::chrono::nanoseconds TimeOn(clockid_t clock) {
    timespec time = {};
    clock_gettime(clock, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

}  // namespace

std::chrono::nanoseconds CpuTimeOfOtherThreads() {
    return TimeOn(CLOCK_PROCESS_CPUTIME_ID) - OwnCpuTime();
}

std::chrono::nanoseconds OwnCpuTime() {
    return TimeOn(CLOCK_THREAD_CPUTIME_ID);
}

}  // namespace Benchmark
