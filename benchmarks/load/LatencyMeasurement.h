#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <utility>

#include "benchmarks/load/Connection.h"
#include "benchmarks/load/Samples.h"

namespace Load {

// From sending a request, which the server refuses itself, to the arrival of its answer; one client, one request at
// a time.
//
// Without a pause the next request follows right after an answer, so that every request meets the server's loops in
// the phase that the answer before it left. A random pause before each request lets it meet any phase.
class LatencyMeasurement {
  public:
    struct Options {
        std::chrono::nanoseconds duration = std::chrono::seconds(20);
        // A pause is any time from 0 to this; 0 for none.
        std::chrono::nanoseconds longestPause{0};
        // Requests that are left out first.
        std::size_t warmUp = 100;
        // Asked before each request: false ends the measurement before its time.
        std::function<bool()> goesOn = [] { return true; };
    };

    LatencyMeasurement(Target target, Options options) : target_(std::move(target)), options_(std::move(options)) {}

    // Throws std::runtime_error when an answer is missing or not a refusal.
    Samples Run() const;

  private:
    Target target_;
    Options options_;
};

}  // namespace Load
