#include "diagnostics/LineQueue.h"

#include <algorithm>
#include <utility>

namespace Diagnostics {

void LineQueue::Append(std::string line) {
    lines_.push_back(std::move(line));
    bytes_ += lines_.back().size();
    mostBytes_ = std::max(mostBytes_, bytes_);
    ++linesAppended_;
}

std::string_view LineQueue::Rest() const {
    return std::string_view(lines_.front()).substr(offset_);
}

void LineQueue::Take(std::size_t bytes) {
    offset_ += bytes;
    if (offset_ == lines_.front().size()) {
        bytes_ -= offset_;
        offset_ = 0;
        ++linesTaken_;
        lines_.pop_front();
    }
}

std::size_t LineQueue::TakeMostBytes() {
    return std::exchange(mostBytes_, 0);
}

}  // namespace Diagnostics
