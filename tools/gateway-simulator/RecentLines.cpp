#include "tools/gateway-simulator/RecentLines.h"

#include <algorithm>
#include <sstream>

namespace Simulator {
namespace {

// A request and its answer.
constexpr std::ptrdiff_t kKeptKeepAlives = 2;

bool IsKeepAlive(const RecentLine& line) {
    return line.isKeepAlive;
}

}  // namespace

void RecentLines::Write(const std::string& text) {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        lines_.push_back({line, false});
        if (lines_.size() > kept_) {
            lines_.pop_front();
        }
    }
}

void RecentLines::AddKeepAlive(const std::string& text) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (std::count_if(lines_.begin(), lines_.end(), IsKeepAlive) >= kKeptKeepAlives) {
        lines_.erase(std::find_if(lines_.begin(), lines_.end(), IsKeepAlive));
    }
    lines_.push_back({text, true});
}

void RecentLines::Clear() {
    const std::lock_guard<std::mutex> lock(mutex_);
    lines_.clear();
}

std::vector<RecentLine> RecentLines::Lines() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return {lines_.begin(), lines_.end()};
}

}  // namespace Simulator
