#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <utility>
#include <vector>

#include "benchmarks/load/Connection.h"
#include "benchmarks/load/Report.h"

namespace Load {

// Resident and proportional memory of a server with more and more idle clients, and after many that came and went.
class MemoryMeasurement {
  public:
    struct Options {
        pid_t process = 0;
        // How many clients are connected at each look, in rising order.
        std::vector<std::size_t> clients = {0, 10, 300, 900};
        // Clients that come and go before the last look; 0 to leave it out.
        std::size_t connects = 1000;
        // Before the first look, for a server that was just started.
        std::chrono::nanoseconds warmUp = std::chrono::seconds(2);
    };

    MemoryMeasurement(Target target, Options options) : target_(std::move(target)), options_(std::move(options)) {}

    // Throws std::runtime_error when the server does not take the clients or does not let go of them.
    void Run(Report& report) const;

  private:
    Target target_;
    Options options_;
};

}  // namespace Load
