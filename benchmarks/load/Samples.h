#pragma once

#include <chrono>
#include <cstddef>
#include <vector>

namespace Load {

// The latencies of one measurement. Not thread-safe.
class Samples {
  public:
    void Add(std::chrono::nanoseconds sample) { samples_.push_back(sample); }
    std::size_t Count() const { return samples_.size(); }

    // The smallest sample that at least `percent` (above 0, up to 100) of all samples do not exceed: always a measured
    // time, never an interpolated one. Throws std::logic_error without samples.
    std::chrono::nanoseconds Percentile(double percent) const;
    std::chrono::nanoseconds Median() const { return Percentile(50); }
    // How many exceed a time.
    std::size_t CountAbove(std::chrono::nanoseconds time) const;
    std::chrono::nanoseconds Max() const { return Percentile(100); }

  private:
    std::vector<std::chrono::nanoseconds> samples_;
};

}  // namespace Load
