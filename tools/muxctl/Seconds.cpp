#include "tools/muxctl/Seconds.h"

namespace Muxctl {

std::string SecondsText(std::chrono::milliseconds duration) {
    const auto tenths = (duration.count() + 50) / 100;
    return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + " s";
}

std::chrono::milliseconds TimeSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
}

}  // namespace Muxctl
