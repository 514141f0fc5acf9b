#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <utility>
#include <vector>

#include "benchmarks/load/Connection.h"
#include "benchmarks/load/Report.h"

namespace Load {

// What a process costs while nothing happens: CPU time and wake-ups a second, with each of these numbers of clients
// connected that send nothing, and what each number adds to the first one.
//
// The numbers take turns, since what a sleeping process costs drifts by more in a minute than ten silent clients add.
// Each figure is the median of its turns. All threads stay on one CPU meanwhile: that makes most of the drift go away.
//
// What is left of it, some per cent from turn to turn, would still hide what clients add. So the threads that are no
// loops of the pace are also taken by themselves: clients that are silent concern only them, as the loops' instructions
// show.
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
