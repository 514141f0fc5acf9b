#pragma once

#include <cstddef>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "tools/gateway-simulator/LineOutput.h"

namespace Simulator {

// Keeps the latest lines for a screen that shows them when it is drawn.
//
// Any thread may call anything.
class RecentLines : public LineOutput {
  public:
    // Takes how many lines to keep.
    explicit RecentLines(std::size_t kept) : kept_(kept) {}

    void Write(const std::string& text) override;
    void Clear();

    // Oldest first.
    std::vector<std::string> Lines() const;

  private:
    std::size_t kept_;
    mutable std::mutex mutex_;
    std::deque<std::string> lines_;
};

}  // namespace Simulator
