#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "benchmarks/load/Connection.h"
#include "benchmarks/load/Samples.h"

namespace Load {

// From starting a program to the moment in which a client can connect to it, again and again.
class StartUpMeasurement {
  public:
    struct Options {
        // The program's path and its arguments, which make it listen on the target's port.
        std::vector<std::string> command;
        std::size_t repetitions = 100;
    };

    StartUpMeasurement(Target target, Options options) : target_(std::move(target)), options_(std::move(options)) {}

    // Throws std::runtime_error if the port is in use or the program never listens.
    Samples Run() const;

  private:
    Target target_;
    Options options_;
};

}  // namespace Load
