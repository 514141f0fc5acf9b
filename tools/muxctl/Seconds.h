#pragma once

#include <chrono>
#include <string>

namespace Muxctl {

// As in "0.6 s", rounded down.
std::string SecondsText(std::chrono::milliseconds duration);

}  // namespace Muxctl
