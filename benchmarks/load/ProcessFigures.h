#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

namespace Load {

// The kernel's figures about another process. All functions throw std::runtime_error or std::system_error if a figure
// is not available.

// User and system time of all its threads, those that have ended included. Read from the process's clock, which
// counts nanoseconds; /proc counts ticks of 10 ms.
std::chrono::nanoseconds CpuTimeOf(pid_t process);

// What a thread has used so far.
struct ThreadUse {
    std::chrono::nanoseconds cpuTime{0};
    // It slept and was woken.
    std::uint64_t voluntarySwitches = 0;
    // It had to give way.
    std::uint64_t involuntarySwitches = 0;
};

// The present threads of a process by their IDs. Their CPU time is the scheduler's, which counts nanoseconds.
std::map<pid_t, ThreadUse> ThreadsOf(pid_t process);

struct MemoryUse {
    std::uint64_t residentKib = 0;
    // Pages that several processes share count with the share of each.
    std::uint64_t proportionalKib = 0;
};

MemoryUse MemoryOf(pid_t process);

// How many descriptors it has open.
std::size_t DescriptorCountOf(pid_t process);

// The number after "KEY:" at the start of a line. Throws std::runtime_error if there is none.
std::uint64_t NumberOf(const std::string& text, const std::string& key);

}  // namespace Load
