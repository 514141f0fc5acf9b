#include "benchmarks/load/PinnedProcess.h"

#include <cerrno>
#include <system_error>

#include "benchmarks/load/ProcessFigures.h"

namespace Load {
namespace {

cpu_set_t CpusOf(pid_t process) {
    cpu_set_t cpus;
    if (sched_getaffinity(process, sizeof cpus, &cpus) != 0) {
        throw std::system_error(errno, std::generic_category(), "CPUs of the process");
    }
    return cpus;
}

cpu_set_t LastOf(const cpu_set_t& cpus) {
    int last = CPU_SETSIZE - 1;
    while (last > 0 && !CPU_ISSET(last, &cpus)) {
        --last;
    }
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(last, &one);
    return one;
}

// A thread that has ended since needs no CPU.
void Allow(pid_t process, const cpu_set_t& cpus) {
    for (const auto& [thread, use] : ThreadsOf(process)) {
        if (sched_setaffinity(thread, sizeof cpus, &cpus) != 0 && errno != ESRCH) {
            throw std::system_error(errno, std::generic_category(), "cannot choose the CPU of a thread");
        }
    }
}

}  // namespace

PinnedProcess::PinnedProcess(pid_t process) : process_(process), before_(CpusOf(process)) {
    Allow(process_, LastOf(before_));
}

PinnedProcess::~PinnedProcess() {
    try {
        Allow(process_, before_);
    } catch (const std::exception&) {
        // The process has ended.
    }
}

}  // namespace Load
