#include "tools/muxctl/Seconds.h"

namespace Muxctl {

std::string SecondsText(std::chrono::milliseconds duration) {
    const auto tenths = duration.count() / 100;
    return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + " s";
}

}  // namespace Muxctl
