#include "benchmarks/load/Samples.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace Load {

std::chrono::nanoseconds Samples::Percentile(double percent) const {
    if (samples_.empty()) {
        throw std::logic_error("nothing was measured");
    }
    std::vector<std::chrono::nanoseconds> ordered = samples_;
    const double rank = std::ceil(percent * static_cast<double>(ordered.size()) / 100);
    const std::size_t index = std::clamp<std::size_t>(static_cast<std::size_t>(rank), 1, ordered.size()) - 1;
    const auto position = ordered.begin() + static_cast<std::ptrdiff_t>(index);
    std::nth_element(ordered.begin(), position, ordered.end());
    return *position;
}

std::size_t Samples::CountAbove(std::chrono::nanoseconds time) const {
    return static_cast<std::size_t>(
        std::count_if(samples_.begin(), samples_.end(), [time](auto sample) { return sample > time; }));
}

}  // namespace Load
