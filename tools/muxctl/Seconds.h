#pragma once

#include <chrono>
#include <string>

namespace Muxctl {

// As in "0.6 s", rounded to the nearest.
std::string SecondsText(std::chrono::milliseconds duration);

// How long ago this was.
std::chrono::milliseconds TimeSince(std::chrono::steady_clock::time_point start);

}  // namespace Muxctl
