#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <utility>
#include <vector>

#include "benchmarks/load/Connection.h"
#include "benchmarks/load/Report.h"

namespace Load {

// What a process costs at each of several rates of answers: its CPU time a second, and how much of it is above what it
// takes while the client sends nothing.
//
// One client sends requests, which the server refuses itself, at a fixed rate whatever comes back. A rate that the
// server cannot follow shows as fewer answers, not as an error. All threads of the process stay on one CPU meanwhile,
// for the same reason as with IdleMeasurement.
class RateMeasurement {
  public:
    struct Options {
        pid_t process = 0;
        // Requests a second.
        std::vector<std::size_t> rates = {50, 100, 200, 400, 600, 800};
        // Of each rate, and of the silence before the first.
        std::chrono::nanoseconds duration = std::chrono::seconds(2);
        // At the beginning of each rate; left out.
        std::chrono::nanoseconds warmUp = std::chrono::milliseconds(100);
    };

    RateMeasurement(Target target, Options options) : target_(std::move(target)), options_(std::move(options)) {}

    // Adds "rate R, answers", "rate R, CPU" and "rate R, CPU above idle" for each rate, and "rate 0, CPU". Throws
    // std::runtime_error if an answer is missing or not a refusal.
    void Run(Report& report) const;

  private:
    Target target_;
    Options options_;
};

}  // namespace Load
