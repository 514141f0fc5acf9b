#pragma once

#include <sched.h>
#include <sys/types.h>

namespace Load {

// Keeps all present threads of a process on one CPU, the last of those it may use, for as long as the object lives.
// Loops that wander between CPUs find cold caches: that makes the same second without work cost a quarter more or less.
class PinnedProcess {
  public:
    // Throws std::system_error if the process does not exist or belongs to another user.
    explicit PinnedProcess(pid_t process);
    ~PinnedProcess();
    PinnedProcess(const PinnedProcess&) = delete;
    PinnedProcess& operator=(const PinnedProcess&) = delete;

  private:
    pid_t process_;
    cpu_set_t before_;
};

}  // namespace Load
