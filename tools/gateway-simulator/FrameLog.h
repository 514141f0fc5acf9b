#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <vector>

#include "tools/gateway-simulator/ReceivedFrame.h"

namespace Simulator {

// Remembers what the gateway received: all of it by number, the latest by content: at most 65536, and of junk no more
// than as many of the longest frames would take.
//
// Any thread may call anything.
class FrameLog {
  public:
    static constexpr std::size_t kKept = 65536;
    static constexpr std::size_t kKeptBytes = kKept * 255;

    void Add(const ReceivedFrame& received);

    // Oldest first.
    std::vector<ReceivedFrame> Snapshot() const;

    // How many were ever added.
    std::size_t Count() const;

    // Returns as soon as at least `count` were ever added; false when `deadline` passes first.
    bool WaitFor(std::size_t count, std::chrono::milliseconds deadline) const;

  private:
    mutable std::mutex mutex_;
    mutable std::condition_variable added_;
    std::deque<ReceivedFrame> frames_;
    std::size_t bytes_ = 0;
    std::size_t count_ = 0;
};

}  // namespace Simulator
