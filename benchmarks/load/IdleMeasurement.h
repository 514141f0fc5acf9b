#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <utility>

#include "benchmarks/load/Connection.h"
#include "benchmarks/load/Report.h"

namespace Load {

// What a process costs while nothing happens: CPU time and wake-ups a second, with this many clients connected that
// send nothing.
class IdleMeasurement {
  public:
    struct Options {
        pid_t process = 0;
        std::size_t clients = 0;
        std::chrono::nanoseconds duration = std::chrono::seconds(60);
        // After the last client has connected; left out. Longer than the server's pause without clients.
        std::chrono::nanoseconds warmUp = std::chrono::seconds(2);
    };

    IdleMeasurement(Target target, const Options& options) : target_(std::move(target)), options_(options) {}

    void Run(Report& report) const;

  private:
    Target target_;
    Options options_;
};

}  // namespace Load
