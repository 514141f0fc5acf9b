#pragma once

#include <chrono>
#include <cstddef>
#include <utility>

#include "benchmarks/load/Connection.h"
#include "benchmarks/load/Report.h"

namespace Load {

// Measures the time from raising a card event at a quiet gateway to its arrival at each client.
//
// A gateway is quiet while the server's read thread waits for its next byte: for 11 s, beginning 300 ms after the
// previous byte, then again after each further 300 ms. Events are raised in turn at gateways that have been silent for
// long enough: by default just long enough that the server waits, otherwise for any time, so that some events meet the
// 300 ms. A random pause before each event makes it meet the server's loops in any phase. The next event waits until
// all clients have the previous one.
class EventMeasurement {
  public:
    struct Options {
        std::size_t gateways = 64;
        std::size_t clients = 1;
        std::chrono::milliseconds longestSilence{0};
        std::chrono::nanoseconds duration = std::chrono::seconds(20);
        // Events that are left out first.
        std::size_t warmUp = 10;
    };

    EventMeasurement(Target target, const Options& options) : target_(std::move(target)), options_(options) {}

    // Announces the gateways on the standard output and waits for the server to use them. Throws std::runtime_error
    // when an event does not arrive.
    void Run(Report& report) const;

  private:
    Target target_;
    Options options_;
};

}  // namespace Load
