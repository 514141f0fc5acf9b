#pragma once

#include <chrono>
#include <utility>

#include "benchmarks/load/Connection.h"
#include "benchmarks/load/Neighbours.h"
#include "benchmarks/load/Report.h"

namespace Load {

// How long a client that keeps to the rules waits for its answers while others behave badly, one request at a time:
// until the server closes the first of these, or until the time is over.
class NeighbourMeasurement {
  public:
    struct Options {
        std::chrono::nanoseconds duration = std::chrono::seconds(10);
        Neighbours::Numbers numbers;
    };

    NeighbourMeasurement(Target target, const Options& options) : target_(std::move(target)), options_(options) {}

    // Adds the latencies and their number. Throws std::runtime_error when an answer does not come.
    void Run(Report& report) const;

  private:
    Target target_;
    Options options_;
};

}  // namespace Load
