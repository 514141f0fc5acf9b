#pragma once

#include <chrono>

namespace Load {

// CLOCK_MONOTONIC, the clock of every measurement.
using Clock = std::chrono::steady_clock;

}  // namespace Load
