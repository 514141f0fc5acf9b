#include "tools/gateway-simulator/RecentLines.h"

#include <sstream>

namespace Simulator {

void RecentLines::Write(const std::string& text) {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        lines_.push_back(line);
        if (lines_.size() > kept_) {
            lines_.pop_front();
        }
    }
}

void RecentLines::Clear() {
    const std::lock_guard<std::mutex> lock(mutex_);
    lines_.clear();
}

std::vector<std::string> RecentLines::Lines() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return {lines_.begin(), lines_.end()};
}

}  // namespace Simulator
