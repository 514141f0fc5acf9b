#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <utility>
#include <vector>

#include "benchmarks/load/Connection.h"
#include "benchmarks/load/Report.h"

namespace Load {

// Measures an idle process: CPU time and wake-ups a second with each of these numbers of silent clients, and the
// difference of each number to the first.
//
// The numbers take turns, because the cost of a sleeping process drifts by more in a minute than ten silent clients
// add. Each figure is the median of its turns. All threads stay on one CPU, which removes most of the drift.
//
// The remaining drift of some per cent would still hide the clients' share. So the threads outside of the loops of the
// pace are also measured alone: silent clients concern only them, as the loops' instruction counts show.
class IdleMeasurement {
  public:
    struct Options {
        pid_t process = 0;
        std::vector<std::size_t> clients = {0};
        // For each number of clients, all its turns together.
        std::chrono::nanoseconds duration = std::chrono::seconds(60);
        std::size_t turns = 6;
        // After the last client has connected or gone; left out. Longer than the server's pause without clients.
        std::chrono::nanoseconds warmUp = std::chrono::seconds(2);
    };

    IdleMeasurement(Target target, Options options) : target_(std::move(target)), options_(std::move(options)) {}

    void Run(Report& report) const;

  private:
    Target target_;
    Options options_;
};

}  // namespace Load
