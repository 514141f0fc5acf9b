#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <optional>
#include <utility>

#include "benchmarks/load/Connection.h"
#include "benchmarks/load/Report.h"

namespace Load {

// How many requests the server answers (it refuses them itself) when every client always has several on the way.
class ThroughputMeasurement {
  public:
    struct Options {
        std::size_t clients = 1;
        std::chrono::nanoseconds duration = std::chrono::seconds(20);
        // Of the time after every client's first answer; left out.
        std::chrono::nanoseconds warmUp = std::chrono::seconds(1);
        // Whose CPU time is measured as well.
        std::optional<pid_t> process;
    };

    ThroughputMeasurement(Target target, const Options& options) : target_(std::move(target)), options_(options) {}

    // Throws std::runtime_error when the server stops answering.
    void Run(Report& report) const;

  private:
    Target target_;
    Options options_;
};

}  // namespace Load
