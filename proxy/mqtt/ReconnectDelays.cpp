#include "proxy/mqtt/ReconnectDelays.h"

#include <algorithm>
#include <random>
#include <utility>

namespace MuxProxy {

double RandomShare() {
    std::random_device device;
    return std::uniform_real_distribution<double>(0, 1)(device);
}

ReconnectDelays::ReconnectDelays(const DelaySettings& settings, Random random)
    : settings_(settings), random_(std::move(random)), next_(settings.first) {}

std::chrono::milliseconds ReconnectDelays::Next() {
    const std::chrono::duration<double, std::milli> scattered = next_ * (0.5 + random_());
    next_ = std::min(next_ * 2, settings_.longest);
    return std::chrono::duration_cast<std::chrono::milliseconds>(scattered);
}

void ReconnectDelays::Lasted(std::chrono::milliseconds duration) {
    if (duration >= settings_.stable) {
        next_ = settings_.first;
    }
}

}  // namespace MuxProxy
