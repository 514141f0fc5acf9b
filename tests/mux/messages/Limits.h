#pragma once

#include <cstdint>
#include <limits>

namespace Testing {

constexpr auto kLeast = std::numeric_limits<std::int32_t>::min();
constexpr auto kMost = std::numeric_limits<std::int32_t>::max();

}  // namespace Testing
