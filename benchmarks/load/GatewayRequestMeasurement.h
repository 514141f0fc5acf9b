#pragma once

#include <chrono>
#include <cstddef>
#include <utility>

#include "benchmarks/load/Connection.h"
#include "benchmarks/load/Report.h"

namespace Load {

// Requests through gateways that answer at once, all gateways at the same time, one client for each of them.
//
// First every client sends its next request right after an answer: from sending it to its answer. Then requests queue
// up for every gateway: frames a second that it receives. The server's configuration must number the gateways from 1
// in the order of the announced ports.
class GatewayRequestMeasurement {
  public:
    struct Options {
        std::size_t gateways = 1;
        // Of each of both parts.
        std::chrono::nanoseconds duration = std::chrono::seconds(20);
        // First answers of each client that are left out.
        std::size_t warmUp = 2;
    };

    GatewayRequestMeasurement(Target target, const Options& options) : target_(std::move(target)), options_(options) {}

    // Announces the gateways on the standard output and waits for the server to use them.
    void Run(Report& report) const;

  private:
    Target target_;
    Options options_;
};

}  // namespace Load
