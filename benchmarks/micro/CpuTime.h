#pragma once

#include <chrono>

namespace Benchmark {

// The processor time that the whole process has used apart from the calling thread: what the threads of the Mux cost,
// without the client that the benchmark plays. Wall time would count whatever else the machine does.
std::chrono::nanoseconds CpuTimeOfOtherThreads();

// The processor time of the calling thread.
std::chrono::nanoseconds OwnCpuTime();

}  // namespace Benchmark
